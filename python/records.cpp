// The Python classes of the records, and the conversions between the
// model's values and Python objects.
#include "python/bindings.h"

namespace ormavec::python {

namespace {

template <class... R>
py::object recordToPython(const Variant& v, TypeList<R...>) {
    py::object out = py::none();
    bool done = false;
    (
        [&] {
            if (done) return;
            if (const R* r = v.RecordIf<R>()) {
                out = py::cast(*r);
                done = true;
            }
        }(),
        ...);
    return out;
}

template <class... R>
py::object arrayToPython(const Variant& v, TypeList<R...>) {
    py::list out;
    bool done = false;
    (
        [&] {
            if (done) return;
            if (const auto* a = v.ArrayIf<R>()) {
                for (const R& r : a->items) out.append(py::cast(r));
                done = true;
            }
        }(),
        ...);
    if (!done) {
        if (const auto* a = v.ArrayIf<Variant>()) {
            for (const Variant& item : a->items) out.append(toPython(item));
        } else if (const auto* d = v.ArrayIf<double>()) {
            for (double x : d->items) out.append(x);
        }
    }
    return out;
}

}  // namespace

py::object toPython(const Variant& v) {
    switch (v.GetKind()) {
    case Variant::Kind::Empty: return py::none();
    case Variant::Kind::Int16:
    case Variant::Kind::Int32: return py::int_(v.ToInt32());
    case Variant::Kind::Single:
    case Variant::Kind::Double: return py::float_(v.ToDouble());
    case Variant::Kind::Bool: return py::bool_(v.ToBool());
    case Variant::Kind::String: return py::str(v.ToString());
    case Variant::Kind::Object: return py::cast(v.ToObject());
    case Variant::Kind::Record: return recordToPython(v, AllRecords{});
    case Variant::Kind::Array: return arrayToPython(v, AllRecords{});
    }
    return py::none();
}

namespace {

template <class... R>
bool recordFromPython(py::handle h, Variant& out, TypeList<R...>) {
    bool done = false;
    (
        [&] {
            if (done) return;
            if (py::isinstance<R>(h)) {
                out = Variant::FromRecord(h.cast<R>());
                done = true;
            }
        }(),
        ...);
    return done;
}

}  // namespace

Variant fromPython(py::handle h) {
    if (h.is_none()) return {};
    if (py::isinstance<py::bool_>(h)) return Variant(h.cast<bool>());
    if (py::isinstance<py::int_>(h)) return Variant(h.cast<int32_t>());
    if (py::isinstance<py::float_>(h)) return Variant(h.cast<double>());
    if (py::isinstance<py::str>(h)) return Variant(h.cast<std::string>());
    Variant v;
    if (recordFromPython(h, v, AllRecords{})) return v;
    if (py::isinstance<py::list>(h) || py::isinstance<py::tuple>(h)) {
        std::vector<Variant> items;
        for (py::handle item : h) items.push_back(fromPython(item));
        return Variant::FromArray<Variant>(std::move(items));
    }
    if (py::isinstance<Object>(h)) return Variant(h.cast<std::shared_ptr<Object>>());
    throw py::type_error("cannot convert a " + std::string(py::str(h.get_type().attr("__name__"))) + " to a value of the model");
}

namespace {

class PyComparer final : public IComparer {
public:
    explicit PyComparer(py::object fn) : fn_(std::move(fn)) {}
    // The list drops its previous comparer inside Sort, where the interpreter
    // lock is released: the callable must only be released with the lock held.
    ~PyComparer() override {
        if (!Py_IsInitialized()) {
            fn_.release();  // the interpreter is gone; nothing left to free it into
            return;
        }
        py::gil_scoped_acquire gil;
        fn_ = py::object();
    }
    int16_t Compare(const Variant& a, const Variant& b) override {
        py::gil_scoped_acquire gil;
        py::object result = fn_(toPython(a), toPython(b));
        // A bool or a float would sort silently wrong: only an integer orders.
        if (!PyLong_Check(result.ptr()) || PyBool_Check(result.ptr()))
            throw py::type_error("a comparer must return an integer (negative, 0 or positive), not " +
                                 std::string(py::str(result.get_type().attr("__name__"))));
        int overflow = 0;
        const long value = PyLong_AsLongAndOverflow(result.ptr(), &overflow);
        const int sign = overflow != 0 ? overflow : (value > 0) - (value < 0);
        return static_cast<int16_t>(sign);
    }

private:
    py::object fn_;
};

}  // namespace

std::shared_ptr<IComparer> comparerFrom(const py::object& c) {
    if (c.is_none()) return nullptr;
    if (py::isinstance<IComparer>(c)) return c.cast<std::shared_ptr<IComparer>>();
    if (py::hasattr(c, "Compare")) return std::make_shared<PyComparer>(c.attr("Compare"));
    if (PyCallable_Check(c.ptr())) return std::make_shared<PyComparer>(c);
    throw py::type_error("Comparer must be an IComparer, an object with a Compare method, or a callable");
}

namespace {

template <class R>
std::string reprOf(const R& r);

std::string pyRepr(py::handle h) { return py::str(py::repr(h)); }

template <class M>
void reprValue(std::string& out, const M& value) {
    if constexpr (std::is_same_v<M, std::string> || std::is_arithmetic_v<M>) {
        out += pyRepr(py::cast(value));
    } else if constexpr (std::is_same_v<M, XYZ>) {
        out += reprOf(value);
    } else if constexpr (requires { value.size(); value.begin(); }) {
        out += "[" + std::to_string(value.size()) + " items]";
    } else {
        out += value ? "<shared collection>" : "None";
    }
}

template <class R>
std::string reprOf(const R& r) {
    std::string out(R::kTypeName);
    out += "(";
    bool first = true;
    ForEachField<R>([&](std::string_view name, auto member) {
        if (!first) out += ", ";
        first = false;
        out += name;
        out += "=";
        reprValue(out, r.*member);
    });
    out += ")";
    return out;
}

// An element of a record's list field is a copy inside a tuple; its class
// is a subclass that refuses changes, which would otherwise be lost unseen.
py::object frozenElement(py::object element) {
    py::object of = py::getattr(py::type::handle_of(element), "_frozen_of", py::none());
    return of.is_none() ? element : of(element);
}

template <class R>
void bindFrozen(py::class_<R>& cls) {
    using namespace pybind11::literals;
    const std::string name(R::kTypeName);
    py::object frozen = py::module_::import("builtins").attr("type")(
        name, py::make_tuple(cls),
        py::dict("__slots__"_a = py::tuple(), "__module__"_a = cls.attr("__module__"),
                 "__doc__"_a = name + " inside a record's list field: a copy that cannot change. copy.copy() it, change "
                                      "the copy and assign the whole list."));
    auto refuse = [name](py::handle, py::args) {
        throw py::attribute_error(name + " inside a record's list field is a copy and cannot change; change a "
                                         "copy.copy() of it and assign the whole list");
    };
    frozen.attr("__setattr__") = py::cpp_function(refuse, py::is_method(frozen));
    frozen.attr("__delattr__") = py::cpp_function(refuse, py::is_method(frozen));
    // Pickled as the plain record: the frozen class is not reachable by its name.
    frozen.attr("__reduce_ex__") = py::cpp_function(
        [](const R& self, int) { return py::make_tuple(py::module_::import("copy").attr("copy"), py::make_tuple(R(self))); },
        py::is_method(frozen));
    cls.attr("_frozen_of") = py::cpp_function([frozen](const R& value) {
        py::object out = frozen();
        out.cast<R&>() = value;
        return out;
    });
}

template <class M>
struct SharedList : std::false_type {};
template <class C>
struct SharedList<std::shared_ptr<C>> : std::true_type {};

// A copy whose shared collections (an insert's attributes, a block's
// entities) are copies too, at every depth.
template <class R>
void deepenInPlace(R& r) {
    ForEachField<R>([&](std::string_view, auto member) {
        using M = std::remove_reference_t<decltype(r.*member)>;
        if constexpr (SharedList<M>::value) {
            if (!(r.*member)) return;
            auto items = (r.*member)->GetArray();
            for (auto& item : items) deepenInPlace(item);
            auto fresh = std::make_shared<typename M::element_type>();
            fresh->SetArray(std::move(items));
            r.*member = std::move(fresh);
        }
    });
}

// A bare entity as a file gives it: the defaults its fields declare, and a
// block's empty entity collections.
template <class R>
R freshRecord() {
    R r{};
    ResetToDefaults(r);
    if constexpr (std::is_same_v<R, BLOCK_BLOCK>) BLOCKS::CreateEntityArrays(r);
    return r;
}

template <class R>
std::string docOf() {
    const R d = freshRecord<R>();
    std::string doc = std::string(R::kTypeName) + "(**fields): a value record; unnamed fields get what a file's bare entity gets:";
    ForEachField<R>([&](std::string_view name, auto member) {
        doc += std::string(doc.back() == ':' ? " " : ", ") + std::string(name) + "=";
        reprValue(doc, d.*member);
    });
    return doc + ".";
}

template <class R>
void bindRecord(py::module_& m) {
    const std::string doc = docOf<R>();
    py::class_<R> cls(m, std::string(R::kTypeName).c_str(), doc.c_str());
    py::list names;
    ForEachField<R>([&](std::string_view name, auto) { names.append(py::str(std::string(name))); });
    cls.def(py::init([names](const py::kwargs& kw) {
        py::object o = py::cast(freshRecord<R>());
        for (auto [key, value] : kw) {
            if (!names.contains(key))
                throw py::type_error(std::string(R::kTypeName) + "() has no field " + std::string(py::str(key)));
            py::setattr(o, key, value);
        }
        return o.cast<R>();
    }));
    ForEachField<R>([&](std::string_view name, auto member) {
        using M = std::remove_reference_t<decltype(std::declval<R&>().*member)>;
        std::string n(name);
        if constexpr (std::is_same_v<M, std::vector<Variant>>) {
            cls.def_property(
                n.c_str(),
                [member](const R& r) {
                    py::list out;
                    for (const Variant& v : r.*member) out.append(frozenElement(toPython(v)));
                    return py::tuple(out);
                },
                [member](R& r, const py::iterable& items) {
                    std::vector<Variant> values;
                    for (py::handle h : items) values.push_back(fromPython(h));
                    r.*member = std::move(values);
                });
        } else if constexpr (requires { typename M::value_type; } && !std::is_same_v<M, std::string>) {
            // A tuple of frozen copies, so that changing them fails instead of being lost.
            cls.def_property(
                n.c_str(),
                [member](const R& r) {
                    py::list out;
                    for (const auto& item : r.*member) out.append(frozenElement(py::cast(item)));
                    return py::tuple(out);
                },
                [member](R& r, M value) { r.*member = std::move(value); });
        } else {
            cls.def_readwrite(n.c_str(), member);
        }
    });
    cls.attr("__match_args__") = py::tuple(names);
    if constexpr (std::is_same_v<R, BLOCK_BLOCK>)
        cls.def_property_readonly(
            "Kept", [](const R& b) { return KeptToPython(b.Kept.get()); },
            "What a preserving load kept of the block as pairs: a tuple of KeptEntity, in the order read.");
    if constexpr (std::is_same_v<R, BLOCK_BLOCK>)
        cls.def("KeptOf", [](const R& b, py::handle record) { return KeptOfRecord(b.Kept.get(), record); }, py::arg("Record"), kKeptOfHelp);
    bindFrozen(cls);
    cls.def("__repr__", [](const R& r) { return reprOf(r); });
    cls.def("__eq__", [](const R& a, py::handle b) { return py::isinstance<R>(b) && ValueEqual(a, b.cast<const R&>()); }, py::is_operator());
    cls.def("__ne__", [](const R& a, py::handle b) { return !(py::isinstance<R>(b) && ValueEqual(a, b.cast<const R&>())); }, py::is_operator());
    cls.attr("__hash__") = py::none();
    cls.def("__copy__", [](const R& r) { return R(r); });
    cls.def("__deepcopy__", [](const R& r, py::handle) {
        R copy(r);
        deepenInPlace(copy);
        return copy;
    });
    cls.def(py::pickle(
        [names](py::handle self) {
            py::dict state;
            for (py::handle name : names) state[name] = self.attr(name);
            return state;
        },
        [](const py::dict& state) {
            py::object o = py::cast(R{});
            for (auto [key, value] : state) py::setattr(o, key, value);
            return o.cast<R>();
        }));
}

template <class... R>
void bindRecords(py::module_& m, TypeList<R...>) {
    (bindRecord<R>(m), ...);
}

}  // namespace

void BindRecords(py::module_& m) { bindRecords(m, AllRecords{}); }

int32_t pyIndex(int32_t count, int64_t index) {
    if (index < 0) index += count;
    if (index < 0 || index >= count) throw py::index_error("index out of range");
    return static_cast<int32_t>(index);
}

}  // namespace ormavec::python
