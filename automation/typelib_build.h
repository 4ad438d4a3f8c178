// What the files building the type library share: the member builder that
// assigns dispatch identifiers, the help texts of the list members, and the
// interface of a collection class.
#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>

#include "automation/automation.h"

namespace ormavec::automation::build {

constexpr int32_t kPropertyBase = 0x68030000;
constexpr int32_t kMethodBase = 0x60030000;

// The texts the type library documents the list members with.
constexpr const char* kHelpLowerBound = "The lower bound of the array, this is the frist index.If count = 0 the lower bound is 0.";
constexpr const char* kHelpUpperBound = "The index of the last element.If Count = 0 the return value is -1.";
constexpr const char* kHelpGrowLength = "The length of the cache.";
constexpr const char* kHelpCount = "Returns a count of elements.";
constexpr const char* kHelpAddItem = "Adds an item to the end of the array.";
constexpr const char* kHelpEraseArray = "Erases the array.";
constexpr const char* kHelpItem = "Sets, returns the item by the given index.";
constexpr const char* kHelpFind = "Finds the first occurence of the given value, in case of success returns true. ";
constexpr const char* kHelpVarType = "The type of the elements.";
constexpr const char* kHelpSort = "Sort the list.optional [m..n] sort interval, optional Comparer is an user defined compare method.";
constexpr const char* kHelpSetCount = "Set the size of the array.Set PreserveValues to true to enforce preserve values  .";
constexpr const char* kHelpRemoveItem =
    "Removes the item at the given index. If KeepSequence is false the last item will be moved to the index of the deleted item, "
    "otherwise the items after it move down. Memory usage = Count + (GrowLength * ShrinkFactor)";
constexpr const char* kHelpShrink =
    "Gives back the unused part of the cache. Memory usage = Count + (GrowLength * ShrinkFactor). If DestroyCache is true the "
    "cache is disposed of completely.";
constexpr const char* kHelpShrinkFactor =
    "The part of the cache kept by a shrink, in units of GrowLength. Memory usage = Count + (GrowLength * ShrinkFactor). Value "
    "must be greater than 1.";

inline Param P(std::string name, std::string type) { return {std::move(name), std::move(type), 0}; }
inline Param Ref(std::string name, std::string type) { return {std::move(name), std::move(type), ORMAVEC_PARAM_BYREF}; }
inline Param Out(std::string name, std::string type) {
    return {std::move(name), std::move(type), ORMAVEC_PARAM_BYREF | ORMAVEC_PARAM_OUT};
}
inline Param Opt(std::string name, std::string type) { return {std::move(name), std::move(type), ORMAVEC_PARAM_OPTIONAL}; }

// The object behind an interface, as its class.
template <class C>
C& Self(Object& o) {
    C* p = dynamic_cast<C*>(&o);
    if (!p) RaiseError(ErrInvalidOperation, o.ClassName(), "The interface does not belong to this object");
    return *p;
}

inline std::optional<int32_t> OptInt(const Variant& v) {
    if (v.IsEmpty()) return std::nullopt;
    return v.ToInt32();
}

inline Variant None() { return {}; }

class Builder {
public:
    Builder(TypeLibrary& lib, std::string name, std::string_view iid) {
        lib.interfaces.push_back(std::make_unique<Interface>());
        iface_ = lib.interfaces.back().get();
        iface_->name = std::move(name);
        iface_->iid = G(iid);
    }
    // A member with a fixed dispatch identifier.
    Builder& Add(std::string name, int32_t kind, int32_t dispid, std::vector<Param> params, std::string result, Invoker call,
                 std::string help = {}) {
        position(name);
        iface_->members.push_back({std::move(name), kind, dispid, std::move(params), std::move(result), std::move(help), std::move(call)});
        return *this;
    }
    // A member whose identifier follows the rule at the top of this file.
    Builder& Auto(std::string name, int32_t kind, std::vector<Param> params, std::string result, Invoker call, std::string help = {}) {
        const int32_t n = position(name);
        int32_t id = name == "Item" ? ORMAVEC_DISPID_VALUE : (kind == kMethod ? kMethodBase : kPropertyBase) + n;
        // A fixed identifier further on may already hold the number: the next free one then.
        while (name != "Item" && std::any_of(iface_->members.begin(), iface_->members.end(),
                                             [&](const Member& m) { return m.dispid == id && m.name != name; }))
            ++id;
        return Add(std::move(name), kind, id, std::move(params), std::move(result), std::move(call), std::move(help));
    }
    Interface* get() const noexcept { return iface_; }

private:
    int32_t position(const std::string& name) {
        auto it = std::find(names_.begin(), names_.end(), name);
        if (it != names_.end()) return static_cast<int32_t>(it - names_.begin());
        names_.push_back(name);
        return static_cast<int32_t>(names_.size() - 1);
    }
    Interface* iface_;
    std::vector<std::string> names_;
};

// The members an array list offers alike on the interface of its own class
// and on _IArrayList: one row each (typelib.cpp), called on the list's
// IArrayList view. Each face lists them in its own order; "R" in a type
// stands for the element: the record on a class's own face, Variant on
// _IArrayList.
using ListCall = Variant (*)(IArrayList& list, Args& args);
using ListFace = Variant (*)(Object& self, Args& args, ListCall call);
struct SharedMember {
    const char* name;
    int32_t kind;
};
inline constexpr SharedMember kClassFaceMembers[] = {
    {"VarType", kGet},    {"ShrinkFactor", kLet}, {"ShrinkFactor", kGet}, {"LowerBound", kGet}, {"UpperBound", kGet},
    {"GrowLength", kLet}, {"GrowLength", kGet},   {"Shrink", kMethod},    {"EraseArray", kMethod}, {"SetCount", kMethod},
    {"Count", kGet},      {"AddItem", kMethod},   {"RemoveItem", kMethod}, {"Item", kLet},         {"Item", kGet},
    {"Find", kMethod},    {"Copy", kMethod}};
void AddListMember(Builder& b, const SharedMember& member, std::string_view element, ListFace face);

// A collection class's face: the call goes to the view of the list.
template <class C>
Variant ViaClass(Object& self, Args& args, ListCall call) {
    const std::shared_ptr<IArrayList> view = Self<C>(self).AsIArrayList();
    return call(*view, args);
}

// The template members of every collection class, in slot order.
template <class C>
Builder CollectionInterface(TypeLibrary& lib, std::string_view iid) {
    using T = typename C::value_type;
    const std::string rec(TypeNameOf<T>::value);
    Builder b(lib, "_" + std::string(C::kClassName), iid);
    b.Auto(std::is_same_v<C, LTYPES> ? std::string("ToLTYPES") : "To" + rec, kMethod, {P("Value", "Variant")}, rec,
           [](Object&, Args& a) { return Variant::FromRecord(C::ToRecord(a[0])); });
    b.Auto("Sort", kMethod, {Opt("m", "Variant"), Opt("n", "Variant"), Opt("Comparer", "IComparer")}, "",
           [](Object& o, Args& a) {
               Self<C>(o).Sort(OptInt(a[0]), OptInt(a[1]), ToComparer(a[2]));
               return None();
           },
           kHelpSort);
    b.Auto("SetArray", kMethod, {P("Value", "Variant")}, "", [](Object& o, Args& a) {
        Self<C>(o).SetArray(static_cast<const Variant&>(a[0]));
        return None();
    });
    b.Auto("GetArray", kMethod, {}, rec + "()", [](Object& o, Args&) {
        const C& c = Self<C>(o);
        return c.Count() == 0 ? Variant::UnallocatedArray<T>() : Variant::FromArray<T>(c.GetArray());
    });
    for (const SharedMember& m : kClassFaceMembers) AddListMember(b, m, rec, &ViaClass<C>);
    b.Auto("Add", kMethod, {Ref("Item", rec)}, "", [](Object& o, Args& a) {
        Self<C>(o).Add(C::ToRecord(a[0]));
        return None();
    });
    b.Auto("Delete", kMethod, {Ref("Index", "Long")}, "", [](Object& o, Args& a) {
        Self<C>(o).Delete(a[0].ToInt32());
        return None();
    });
    return b;
}

// The name-keyed collections' members after Delete.
template <class C>
void AddNamedMembers(Builder& b) {
    using T = typename C::value_type;
    const std::string rec(TypeNameOf<T>::value);
    b.Auto("DeleteByName", kMethod, {Ref("Name", "String")}, "Boolean",
           [](Object& o, Args& a) { return Variant(Self<C>(o).DeleteByName(a[0].ToString())); });
    b.Auto("ItemByName", kMethod, {Ref("Name", "String"), Out("ReturnElem", rec)}, "Boolean", [](Object& o, Args& a) {
        T elem = a[1].IsEmpty() ? T{} : C::ToRecord(a[1]);
        const bool found = Self<C>(o).ItemByName(a[0].ToString(), elem);
        if (found) a[1] = Variant::FromRecord(std::move(elem));
        return Variant(found);
    });
    b.Auto("Clear", kMethod, {}, "", [](Object& o, Args&) {
        Self<C>(o).Clear();
        return None();
    });
}

template <class C>
ClassInfo CollectionClass(const Interface* iface, std::string_view clsid) {
    ClassInfo c;
    c.name = std::string(C::kClassName);
    c.clsid = G(clsid);
    c.defaultInterface = iface;
    c.create = [] { return std::make_shared<C>(); };
    c.asArrayList = [](const std::shared_ptr<Object>& o) -> std::shared_ptr<IArrayList> {
        auto typed = std::dynamic_pointer_cast<C>(o);
        return typed ? typed->AsIArrayList() : nullptr;
    };
    c.asComparer = [](const std::shared_ptr<Object>& o) -> std::shared_ptr<IComparer> {
        auto typed = std::dynamic_pointer_cast<C>(o);
        return typed ? typed->AsIComparer() : nullptr;
    };
    return c;
}

// The collection classes, in the type library's order: BLOCKS, the tables,
// then those of the kinds list (collection_classes.cpp, kind_classes.cpp).
void AddCollectionClasses(TypeLibrary& lib);
void AddKindClasses(TypeLibrary& lib);

}  // namespace ormavec::automation::build
