// The object runtime of the in-process server: handles with reference
// counts, class factories, late-bound calls, the document's event
// connection, the failure record and the type library's C view.
// Self-registration is in registration.cpp, variants, records and arrays in
// values.cpp.
#include <cstring>

#include "automation/server.h"

struct ormavec_object::Connections {
    struct Sink {
        uint32_t cookie;
        ormavec_event_sink fn;
        void* context;
    };
    std::vector<Sink> sinks;
};

namespace ormavec::automation {

namespace {

using Handle = ormavec_object;

constexpr Guid kIUnknown = {0x00000000, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
constexpr Guid kIDispatch = {0x00020400, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
constexpr Guid kIClassFactory = {0x00000001, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

std::atomic<int32_t> gLiveObjects{0};
std::atomic<int32_t> gServerLocks{0};
std::atomic<int32_t> gValuePayloads{0};
std::atomic<uint32_t> gNextCookie{1};

struct LastError {
    bool set = false;
    int32_t hresult = 0;
    int32_t number = 0;
    std::string source;
    std::string description;
};
thread_local LastError tLastError;

Handle* NewHandle(std::shared_ptr<Object> object, std::shared_ptr<Object> view, const Interface* iface, const ClassInfo* cls) {
    auto* h = new Handle;
    h->object = std::move(object);
    h->view = std::move(view);
    h->iface = iface;
    h->cls = cls;
    gLiveObjects.fetch_add(1);
    return h;
}

Handle* NewFactory(const ClassInfo* cls) {
    Handle* h = NewHandle(nullptr, nullptr, nullptr, cls);
    h->factory = true;
    return h;
}

// Another interface of the same object; null when the object lacks it.
Handle* Derive(const Handle* from, const Interface* iface, std::shared_ptr<Object> view) {
    Handle* h = NewHandle(from->object, std::move(view), iface, from->cls);
    h->events = from->events;
    return h;
}

// The comparer a host builds around a callback.
class HostComparer final : public IComparer {
public:
    HostComparer(ormavec_compare_fn fn, void* context) : fn_(fn), context_(context) {}
    int16_t Compare(const Variant& a, const Variant& b) override {
        ormavec_variant ca, cb;
        ormavec_variant_init(&ca);
        ormavec_variant_init(&cb);
        int16_t result = 0;
        int32_t hr = 0;
        try {
            ToC(a, ca);
            ToC(b, cb);
            hr = fn_(context_, &ca, &cb, &result);
        } catch (...) {
            ormavec_variant_clear(&ca);
            ormavec_variant_clear(&cb);
            throw;
        }
        ormavec_variant_clear(&ca);
        ormavec_variant_clear(&cb);
        if (hr < 0) RaiseError(hr, "IComparer", "The host comparer failed");
        return result;
    }

private:
    ormavec_compare_fn fn_;
    void* context_;
};

// Forwards the document's Progress to every subscriber, Percent by reference.
void RaiseProgress(const std::shared_ptr<Handle::Connections>& events, int32_t& percent) {
    const auto sinks = events->sinks;  // a sink may unadvise while it runs
    for (const auto& s : sinks) {
        ormavec_variant arg;
        ormavec_variant_init(&arg);
        arg.vt = ORMAVEC_VT_I4;
        arg.u.lVal = percent;
        s.fn(s.context, 1, &arg, 1);
        try {
            percent = FromC(arg).ToInt32();
        } catch (const Error&) {
            // A value that is no number leaves Percent as it was.
        }
        ormavec_variant_clear(&arg);
    }
}

Handle* CreateObject(const ClassInfo& cls) {
    std::shared_ptr<Object> object = cls.create();
    Handle* h = NewHandle(object, object, cls.defaultInterface, &cls);
    if (cls.sourceInterface) {
        h->events = std::make_shared<Handle::Connections>();
        if (auto doc = std::dynamic_pointer_cast<DXFDocument>(object)) {
            doc->Progress = [events = h->events](int32_t& percent) { RaiseProgress(events, percent); };
        }
    }
    return h;
}

int32_t QueryInterface(Handle* h, const Guid& iid, Handle** out) {
    if (h->factory) {
        if (SameGuid(iid, kIUnknown) || SameGuid(iid, kIClassFactory)) {
            ormavec_add_ref(h);
            *out = h;
            return ORMAVEC_S_OK;
        }
        return Fail(ORMAVEC_E_NOINTERFACE, "The class factory has no such interface");
    }
    const Interface* wanted = nullptr;
    std::shared_ptr<Object> view;
    const ClassInfo* cls = h->cls;
    if (SameGuid(iid, kIUnknown) || SameGuid(iid, kIDispatch) || SameGuid(iid, cls->defaultInterface->iid)) {
        wanted = cls->defaultInterface;
        view = h->object;
    } else if (const Interface* i = Library().InterfaceByIid(iid); i && i->name == "_IArrayList" && cls->asArrayList) {
        wanted = i;
        if (h->iface != i) view = cls->asArrayList(h->object);
    } else if (i && i->name == "_IComparer" && cls->asComparer) {
        wanted = i;
        if (h->iface != i) view = cls->asComparer(h->object);
    }
    if (!wanted) return Fail(ORMAVEC_E_NOINTERFACE, "The object " + cls->name + " has no such interface");
    if (h->iface == wanted) {
        ormavec_add_ref(h);
        *out = h;
        return ORMAVEC_S_OK;
    }
    *out = Derive(h, wanted, std::move(view));
    return ORMAVEC_S_OK;
}

bool InRange(int32_t index, std::size_t size) { return index >= 0 && static_cast<std::size_t>(index) < size; }

}  // namespace

int32_t Fail(int32_t hresult, int32_t number, std::string source, std::string description) {
    tLastError.set = true;
    tLastError.hresult = hresult;
    tLastError.number = number;
    tLastError.source = std::move(source);
    tLastError.description = std::move(description);
    return hresult;
}
int32_t Fail(int32_t hresult, std::string description) { return Fail(hresult, hresult, "Ormavec", std::move(description)); }

int32_t ResultOf(int32_t number) {
    if (number < 0) return number;
    if (number > 0 && number <= 0xFFFF) return static_cast<int32_t>(0x800A0000u | static_cast<uint32_t>(number));
    return ORMAVEC_E_FAIL;
}

void CountValuePayload(int32_t delta) noexcept { gValuePayloads.fetch_add(delta); }

namespace {

// An argument as the platform passes it: an error value means "left out";
// Empty given for an optional argument is the empty value of its type (0 for
// a position, no comparer), not a left-out one; Null fits no member.
Variant ArgumentFromC(const ormavec_variant& v, const Param& p, const std::string& member) {
    if (v.vt == ORMAVEC_VT_NULL) RaiseError(err::InvalidUseOfNull, member, "Invalid use of Null: " + p.name);
    if (v.vt == ORMAVEC_VT_EMPTY && (p.flags & ORMAVEC_PARAM_OPTIONAL) && (p.type == "Variant" || p.type == "Long"))
        return Variant(int32_t{0});
    return FromC(v);
}

}  // namespace

ormavec_object* Wrap(const std::shared_ptr<Object>& object) {
    const TypeLibrary& lib = Library();
    if (auto list = std::dynamic_pointer_cast<IArrayList>(object)) {
        std::shared_ptr<Object> target = list->Target();
        const ClassInfo* cls = lib.ClassByName(list->ClassName());
        if (!cls) cls = lib.ClassByName("IArrayList");
        return NewHandle(target ? target : object, object, lib.InterfaceByName("_IArrayList"), cls);
    }
    if (auto cmp = std::dynamic_pointer_cast<IComparer>(object)) {
        const ClassInfo* cls = lib.ClassByName(cmp->ClassName());
        if (!cls) cls = lib.ClassByName("IComparer");
        return NewHandle(object, object, lib.InterfaceByName("_IComparer"), cls);
    }
    const ClassInfo* cls = lib.ClassByName(object->ClassName());
    if (!cls) RaiseError(ErrInvalidOperation, object->ClassName(), "The object has no class in the type library");
    return NewHandle(object, object, cls->defaultInterface, cls);
}

std::shared_ptr<IComparer> ToComparer(const Variant& v) {
    if (v.IsEmpty()) return nullptr;
    const std::shared_ptr<Object>& object = v.ToObject();
    if (auto cmp = std::dynamic_pointer_cast<IComparer>(object)) return cmp;
    const ClassInfo* cls = Library().ClassByName(object->ClassName());
    if (cls && cls->asComparer) {
        if (auto cmp = cls->asComparer(object)) return cmp;
    }
    RaiseTypeMismatch("IComparer", v, "IComparer");
}

}  // namespace ormavec::automation

using namespace ormavec;
using namespace ormavec::automation;

extern "C" {

ORMAVEC_API int32_t DllGetClassObject(const ormavec_guid* clsid, const ormavec_guid* iid, ormavec_object** factory) {
    if (!factory) return Fail(ORMAVEC_E_POINTER, "No place for the result");
    *factory = nullptr;
    if (!clsid) return Fail(ORMAVEC_E_POINTER, "No class identifier");
    return Guard([&] {
        const ClassInfo* cls = Library().ClassByClsid(*clsid);
        if (!cls) return Fail(ORMAVEC_CLASS_E_CLASSNOTAVAILABLE, "Class " + FormatGuid(*clsid) + " is not in this library");
        if (iid && !SameGuid(*iid, kIUnknown) && !SameGuid(*iid, kIClassFactory))
            return Fail(ORMAVEC_E_NOINTERFACE, "A class object offers IUnknown and IClassFactory only");
        *factory = NewFactory(cls);
        return ORMAVEC_S_OK;
    });
}

ORMAVEC_API int32_t DllCanUnloadNow(void) {
    return gLiveObjects.load() == 0 && gServerLocks.load() == 0 && gValuePayloads.load() == 0 ? ORMAVEC_S_OK : ORMAVEC_S_FALSE;
}

ORMAVEC_API int32_t ormavec_factory_create_instance(ormavec_object* factory, ormavec_object* outer, const ormavec_guid* iid,
                                                    ormavec_object** out) {
    if (!out) return Fail(ORMAVEC_E_POINTER, "No place for the result");
    *out = nullptr;
    if (!factory || !factory->factory) return Fail(ORMAVEC_E_INVALIDARG, "Not a class factory");
    if (outer) return Fail(ORMAVEC_CLASS_E_NOAGGREGATION, "The classes cannot be aggregated");
    return Guard([&] {
        Handle* h = CreateObject(*factory->cls);
        if (!iid) {
            *out = h;
            return ORMAVEC_S_OK;
        }
        const int32_t hr = QueryInterface(h, *iid, out);
        ormavec_release(h);
        return hr;
    });
}

ORMAVEC_API int32_t ormavec_factory_lock_server(ormavec_object* factory, int32_t lock) {
    if (!factory || !factory->factory) return Fail(ORMAVEC_E_INVALIDARG, "Not a class factory");
    if (lock) {
        gServerLocks.fetch_add(1);
    } else {
        int32_t n = gServerLocks.load();
        while (n > 0 && !gServerLocks.compare_exchange_weak(n, n - 1)) {
        }
    }
    return ORMAVEC_S_OK;
}

ORMAVEC_API int32_t ormavec_clsid_from_progid(const char* progid, ormavec_guid* clsid) {
    if (!progid || !clsid) return Fail(ORMAVEC_E_POINTER, "Missing argument");
    return Guard([&] {
        const ClassInfo* cls = Library().ClassByProgID(progid);
        if (!cls) return Fail(ORMAVEC_CO_E_CLASSSTRING, "Invalid class string: " + std::string(progid));
        *clsid = cls->clsid;
        return ORMAVEC_S_OK;
    });
}

ORMAVEC_API int32_t ormavec_create_instance(const ormavec_guid* clsid, const ormavec_guid* iid, ormavec_object** out) {
    ormavec_object* factory = nullptr;
    int32_t hr = DllGetClassObject(clsid, nullptr, &factory);
    if (hr < 0) {
        if (out) *out = nullptr;
        return hr;
    }
    hr = ormavec_factory_create_instance(factory, nullptr, iid, out);
    ormavec_release(factory);
    return hr;
}

ORMAVEC_API int32_t ormavec_create_object(const char* progid, ormavec_object** out) {
    if (!out) return Fail(ORMAVEC_E_POINTER, "No place for the result");
    *out = nullptr;
    ormavec_guid clsid;
    const int32_t hr = ormavec_clsid_from_progid(progid, &clsid);
    if (hr < 0) return hr;
    return ormavec_create_instance(&clsid, nullptr, out);
}

ORMAVEC_API int32_t ormavec_guid_from_string(const char* text, ormavec_guid* out) {
    if (!text || !out) return Fail(ORMAVEC_E_POINTER, "Missing argument");
    auto g = ParseGuid(text);
    if (!g) return Fail(ORMAVEC_E_INVALIDARG, "Not an identifier: " + std::string(text));
    *out = *g;
    return ORMAVEC_S_OK;
}

ORMAVEC_API int32_t ormavec_guid_to_string(const ormavec_guid* guid, char* buffer39) {
    if (!guid || !buffer39) return Fail(ORMAVEC_E_POINTER, "Missing argument");
    const std::string s = FormatGuid(*guid);
    std::memcpy(buffer39, s.c_str(), s.size() + 1);
    return ORMAVEC_S_OK;
}

ORMAVEC_API uint32_t ormavec_add_ref(ormavec_object* object) {
    if (!object) return 0;
    return object->refs.fetch_add(1) + 1;
}

ORMAVEC_API uint32_t ormavec_release(ormavec_object* object) {
    if (!object) return 0;
    const uint32_t left = object->refs.fetch_sub(1) - 1;
    if (left == 0) {
        delete object;
        gLiveObjects.fetch_sub(1);
    }
    return left;
}

ORMAVEC_API int32_t ormavec_query_interface(ormavec_object* object, const ormavec_guid* iid, ormavec_object** out) {
    if (!out) return Fail(ORMAVEC_E_POINTER, "No place for the result");
    *out = nullptr;
    if (!object || !iid) return Fail(ORMAVEC_E_POINTER, "Missing argument");
    return Guard([&] { return QueryInterface(object, *iid, out); });
}

ORMAVEC_API const char* ormavec_class_name(const ormavec_object* object) {
    return object && object->cls ? object->cls->name.c_str() : nullptr;
}

ORMAVEC_API const char* ormavec_interface_name(const ormavec_object* object) {
    if (!object) return nullptr;
    if (object->factory) return "IClassFactory";
    return object->iface ? object->iface->name.c_str() : nullptr;
}

ORMAVEC_API int32_t ormavec_get_ids_of_names(ormavec_object* object, const char* const* names, int32_t count, int32_t* dispids) {
    if (!object || !names || !dispids) return Fail(ORMAVEC_E_POINTER, "Missing argument");
    if (count < 1) return Fail(ORMAVEC_E_INVALIDARG, "No name");
    for (int32_t i = 0; i < count; ++i) dispids[i] = ORMAVEC_DISPID_UNKNOWN;
    if (!object->iface) return Fail(ORMAVEC_E_NOINTERFACE, "A class factory has no members");
    return Guard([&] {
        const Interface& iface = *object->iface;
        if (!names[0]) return Fail(ORMAVEC_E_POINTER, "No name");
        dispids[0] = iface.IdOfName(names[0]);
        if (dispids[0] == ORMAVEC_DISPID_UNKNOWN && !iface.HasDispid(ORMAVEC_DISPID_UNKNOWN))
            return Fail(ORMAVEC_DISP_E_UNKNOWNNAME, "Unknown name: " + std::string(names[0]));
        int32_t hr = ORMAVEC_S_OK;
        for (int32_t i = 1; i < count; ++i) {
            for (const Member& m : iface.members) {
                if (!EqualsNoCase(m.name, names[0])) continue;
                for (std::size_t p = 0; p < m.params.size() && dispids[i] == ORMAVEC_DISPID_UNKNOWN; ++p)
                    if (names[i] && EqualsNoCase(m.params[p].name, names[i])) dispids[i] = static_cast<int32_t>(p);
            }
            if (dispids[i] == ORMAVEC_DISPID_UNKNOWN)
                hr = Fail(ORMAVEC_DISP_E_UNKNOWNNAME, "Unknown parameter name: " + std::string(names[i] ? names[i] : ""));
        }
        return hr;
    });
}

ORMAVEC_API int32_t ormavec_invoke(ormavec_object* object, int32_t dispid, int32_t kind, ormavec_variant* args, int32_t argc,
                                   ormavec_variant* result) {
    if (result) ormavec_variant_init(result);
    if (!object) return Fail(ORMAVEC_E_POINTER, "No object");
    if (argc < 0 || (argc > 0 && !args)) return Fail(ORMAVEC_E_INVALIDARG, "Bad argument list");
    if (!object->iface) return Fail(ORMAVEC_E_NOINTERFACE, "A class factory has no members");
    if ((kind & (kMethod | kGet | kLet | kSet)) == 0) return Fail(ORMAVEC_E_INVALIDARG, "Bad invoke kind");
    const Interface& iface = *object->iface;
    const Member* m = iface.Find(dispid, kind);
    if (!m || !m->call) return Fail(ORMAVEC_DISP_E_MEMBERNOTFOUND, "Member not found on " + iface.name);
    if (static_cast<std::size_t>(argc) > m->params.size())
        return Fail(ORMAVEC_DISP_E_BADPARAMCOUNT, m->name + ": wrong number of arguments");
    for (std::size_t i = static_cast<std::size_t>(argc); i < m->params.size(); ++i)
        if (!(m->params[i].flags & ORMAVEC_PARAM_OPTIONAL))
            return Fail(ORMAVEC_DISP_E_PARAMNOTFOUND, m->name + ": argument not optional: " + m->params[i].name);
    // Held for the call: a handler may release the host's last handle.
    std::shared_ptr<Object> self = object->view;
    return Guard([&] {
        Args a;
        a.reserve(m->params.size());
        for (int32_t i = 0; i < argc; ++i) a.push_back(ArgumentFromC(args[i], m->params[static_cast<std::size_t>(i)], m->name));
        a.resize(m->params.size());
        Variant r = m->call(*self, a);
        for (int32_t i = 0; i < argc; ++i) {
            if (!(m->params[static_cast<std::size_t>(i)].flags & ORMAVEC_PARAM_OUT)) continue;
            ormavec_variant_clear(&args[i]);
            ToC(a[static_cast<std::size_t>(i)], args[i]);
        }
        if (result) ToC(r, *result);
        return ORMAVEC_S_OK;
    });
}

ORMAVEC_API int32_t ormavec_advise(ormavec_object* source, ormavec_event_sink sink, void* context, uint32_t* cookie) {
    if (!source || !sink || !cookie) return Fail(ORMAVEC_E_POINTER, "Missing argument");
    *cookie = 0;
    if (!source->events) return Fail(ORMAVEC_CONNECT_E_NOCONNECTION, "The object raises no events");
    return Guard([&] {
        const uint32_t c = gNextCookie.fetch_add(1);
        source->events->sinks.push_back({c, sink, context});
        *cookie = c;
        return ORMAVEC_S_OK;
    });
}

ORMAVEC_API int32_t ormavec_unadvise(ormavec_object* source, uint32_t cookie) {
    if (!source) return Fail(ORMAVEC_E_POINTER, "Missing argument");
    if (source->events) {
        auto& sinks = source->events->sinks;
        for (auto it = sinks.begin(); it != sinks.end(); ++it) {
            if (it->cookie == cookie) {
                sinks.erase(it);
                return ORMAVEC_S_OK;
            }
        }
    }
    return Fail(ORMAVEC_CONNECT_E_NOCONNECTION, "No connection with this cookie");
}

ORMAVEC_API int32_t ormavec_comparer_new(ormavec_compare_fn compare, void* context, ormavec_object** out) {
    if (!out) return Fail(ORMAVEC_E_POINTER, "No place for the result");
    *out = nullptr;
    if (!compare) return Fail(ORMAVEC_E_POINTER, "No callback");
    return Guard([&] {
        *out = Wrap(std::make_shared<HostComparer>(compare, context));
        return ORMAVEC_S_OK;
    });
}

ORMAVEC_API int32_t ormavec_get_last_error(ormavec_error_info* out) {
    if (!out) return ORMAVEC_E_POINTER;
    const LastError& e = tLastError;
    out->hresult = e.hresult;
    out->number = e.number;
    out->source = e.set ? e.source.c_str() : "";
    out->description = e.set ? e.description.c_str() : "";
    return e.set ? ORMAVEC_S_OK : ORMAVEC_S_FALSE;
}

ORMAVEC_API void ormavec_typelib_get_info(ormavec_typelib_info* out) {
    if (!out) return;
    const TypeLibrary& lib = Library();
    out->name = lib.name.c_str();
    out->major = lib.major;
    out->minor = lib.minor;
    out->libid = lib.libid;
    out->class_count = static_cast<int32_t>(lib.classes.size());
    out->interface_count = static_cast<int32_t>(lib.interfaces.size());
    out->record_count = static_cast<int32_t>(lib.records.size());
    out->enum_count = static_cast<int32_t>(lib.enums.size());
}

ORMAVEC_API int32_t ormavec_typelib_class(int32_t index, ormavec_class_info* out) {
    if (!out) return Fail(ORMAVEC_E_POINTER, "Missing argument");
    const auto& classes = Library().classes;
    if (!InRange(index, classes.size())) return Fail(ORMAVEC_DISP_E_BADINDEX, "No such class");
    const ClassInfo& c = classes[static_cast<std::size_t>(index)];
    out->name = c.name.c_str();
    out->progid = c.progid.c_str();
    out->clsid = c.clsid;
    out->default_interface = c.defaultInterface->name.c_str();
    out->iid = c.defaultInterface->iid;
    out->source_interface = c.sourceInterface ? c.sourceInterface->name.c_str() : nullptr;
    out->creatable = c.creatable ? 1 : 0;
    return ORMAVEC_S_OK;
}

ORMAVEC_API int32_t ormavec_typelib_interface(int32_t index, ormavec_interface_info* out) {
    if (!out) return Fail(ORMAVEC_E_POINTER, "Missing argument");
    const auto& interfaces = Library().interfaces;
    if (!InRange(index, interfaces.size())) return Fail(ORMAVEC_DISP_E_BADINDEX, "No such interface");
    const Interface& i = *interfaces[static_cast<std::size_t>(index)];
    out->name = i.name.c_str();
    out->iid = i.iid;
    out->member_count = static_cast<int32_t>(i.members.size());
    out->is_source = i.isSource ? 1 : 0;
    return ORMAVEC_S_OK;
}

ORMAVEC_API int32_t ormavec_typelib_find_interface(const char* name, int32_t* index) {
    if (!name || !index) return Fail(ORMAVEC_E_POINTER, "Missing argument");
    *index = -1;
    const auto& interfaces = Library().interfaces;
    for (std::size_t i = 0; i < interfaces.size(); ++i) {
        if (EqualsNoCase(interfaces[i]->name, name)) {
            *index = static_cast<int32_t>(i);
            return ORMAVEC_S_OK;
        }
    }
    return Fail(ORMAVEC_DISP_E_UNKNOWNNAME, "No interface " + std::string(name));
}

ORMAVEC_API int32_t ormavec_typelib_member(int32_t interface_index, int32_t member_index, ormavec_member_info* out) {
    if (!out) return Fail(ORMAVEC_E_POINTER, "Missing argument");
    const auto& interfaces = Library().interfaces;
    if (!InRange(interface_index, interfaces.size())) return Fail(ORMAVEC_DISP_E_BADINDEX, "No such interface");
    const auto& members = interfaces[static_cast<std::size_t>(interface_index)]->members;
    if (!InRange(member_index, members.size())) return Fail(ORMAVEC_DISP_E_BADINDEX, "No such member");
    const Member& m = members[static_cast<std::size_t>(member_index)];
    out->name = m.name.c_str();
    out->kind = m.kind;
    out->dispid = m.dispid;
    out->param_count = static_cast<int32_t>(m.params.size());
    out->result_type = m.result.c_str();
    out->help = m.help.c_str();
    return ORMAVEC_S_OK;
}

ORMAVEC_API int32_t ormavec_typelib_param(int32_t interface_index, int32_t member_index, int32_t param_index, ormavec_param_info* out) {
    if (!out) return Fail(ORMAVEC_E_POINTER, "Missing argument");
    const auto& interfaces = Library().interfaces;
    if (!InRange(interface_index, interfaces.size())) return Fail(ORMAVEC_DISP_E_BADINDEX, "No such interface");
    const auto& members = interfaces[static_cast<std::size_t>(interface_index)]->members;
    if (!InRange(member_index, members.size())) return Fail(ORMAVEC_DISP_E_BADINDEX, "No such member");
    const auto& params = members[static_cast<std::size_t>(member_index)].params;
    if (!InRange(param_index, params.size())) return Fail(ORMAVEC_DISP_E_BADINDEX, "No such parameter");
    const Param& p = params[static_cast<std::size_t>(param_index)];
    out->name = p.name.c_str();
    out->type = p.type.c_str();
    out->flags = p.flags;
    return ORMAVEC_S_OK;
}

ORMAVEC_API int32_t ormavec_typelib_record(int32_t index, ormavec_record_info* out) {
    if (!out) return Fail(ORMAVEC_E_POINTER, "Missing argument");
    const auto& records = Library().records;
    if (!InRange(index, records.size())) return Fail(ORMAVEC_DISP_E_BADINDEX, "No such record");
    const RecordInfo& r = records[static_cast<std::size_t>(index)];
    out->name = r.name.c_str();
    out->field_count = static_cast<int32_t>(r.fields.size());
    return ORMAVEC_S_OK;
}

ORMAVEC_API int32_t ormavec_typelib_field(int32_t record_index, int32_t field_index, ormavec_field_info* out) {
    if (!out) return Fail(ORMAVEC_E_POINTER, "Missing argument");
    const auto& records = Library().records;
    if (!InRange(record_index, records.size())) return Fail(ORMAVEC_DISP_E_BADINDEX, "No such record");
    const auto& fields = records[static_cast<std::size_t>(record_index)].fields;
    if (!InRange(field_index, fields.size())) return Fail(ORMAVEC_DISP_E_BADINDEX, "No such field");
    out->name = fields[static_cast<std::size_t>(field_index)].name.c_str();
    out->type = fields[static_cast<std::size_t>(field_index)].type.c_str();
    return ORMAVEC_S_OK;
}

ORMAVEC_API int32_t ormavec_typelib_enum(int32_t index, ormavec_enum_info* out) {
    if (!out) return Fail(ORMAVEC_E_POINTER, "Missing argument");
    const auto& enums = Library().enums;
    if (!InRange(index, enums.size())) return Fail(ORMAVEC_DISP_E_BADINDEX, "No such enum");
    out->name = enums[static_cast<std::size_t>(index)].name.c_str();
    out->value_count = static_cast<int32_t>(enums[static_cast<std::size_t>(index)].values.size());
    return ORMAVEC_S_OK;
}

ORMAVEC_API int32_t ormavec_typelib_enum_value(int32_t enum_index, int32_t value_index, ormavec_enum_value* out) {
    if (!out) return Fail(ORMAVEC_E_POINTER, "Missing argument");
    const auto& enums = Library().enums;
    if (!InRange(enum_index, enums.size())) return Fail(ORMAVEC_DISP_E_BADINDEX, "No such enum");
    const auto& values = enums[static_cast<std::size_t>(enum_index)].values;
    if (!InRange(value_index, values.size())) return Fail(ORMAVEC_DISP_E_BADINDEX, "No such value");
    out->name = values[static_cast<std::size_t>(value_index)].first.c_str();
    out->value = values[static_cast<std::size_t>(value_index)].second;
    return ORMAVEC_S_OK;
}

}  // extern "C"
