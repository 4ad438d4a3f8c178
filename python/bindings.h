// What the files of the Python module share: the conversions between the
// model's values and Python objects, and the binding of a collection class.
#pragma once

#include <pybind11/functional.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <string>
#include <tuple>

#include "automation/typelib_build.h"
#include "document/fields.h"
#include "ormavec.h"

namespace ormavec::python {

namespace py = pybind11;
// The type library's texts document the list members here too.
namespace help = ::ormavec::automation::build;

py::object toPython(const Variant& v);
// Kept entities as a tuple of KeptEntity (empty for none).
py::tuple KeptToPython(const KeptEntities* kept);
// What a preserving load of the set that keeps `kept` kept of a typed record:
// (handle, pairs) or None (a record the host made, or read elsewhere).
py::object KeptOfRecord(const KeptEntities* kept, py::handle record);
inline constexpr const char* kKeptOfHelp =
    "What a preserving load kept of a typed record of this set beyond its fields: (Handle, Pairs), the handle it carried "
    "(0 for none) and its (code, value text) pairs no field took (XDATA, 102 groups, extrusion, 370, 420...), in the "
    "order read; None for a record the host made or read elsewhere. A polyline's vertices have no slot of their own.";
Variant fromPython(py::handle h);
// A Python callable, or an object with a Compare method, as an IComparer.
std::shared_ptr<IComparer> comparerFrom(const py::object& c);
// Value equality of records, collections they share compared by content.
template <class T>
bool ValueEqual(const T& a, const T& b);
template <class C>
bool ListEqual(const std::shared_ptr<C>& a, const std::shared_ptr<C>& b) {
    if (a == b) return true;
    const int32_t na = a ? a->Count() : 0, nb = b ? b->Count() : 0;
    if (na != nb) return false;
    for (int32_t i = 0; i < na; ++i)
        if (!ValueEqual(a->ItemRef(i), b->ItemRef(i))) return false;
    return true;
}
template <class T>
bool ValueEqual(const T& a, const T& b) {
    if constexpr (std::is_same_v<T, std::vector<Variant>>) {
        // Variants hold records of any type: Python's own == compares them.
        if (a.size() != b.size()) return false;
        for (std::size_t i = 0; i < a.size(); ++i)
            if (!toPython(a[i]).equal(toPython(b[i]))) return false;
        return true;
    } else if constexpr (requires { a == b; }) {
        return a == b;
    } else {
        bool same = true;
        ForEachField<T>([&](std::string_view, auto member) {
            using M = std::remove_reference_t<decltype(a.*member)>;
            if (!same) return;
            if constexpr (requires { typename M::element_type; }) same = ListEqual(a.*member, b.*member);
            else same = ValueEqual(a.*member, b.*member);
        });
        return same;
    }
}

// A Python index (negative from the end) checked against the count.
int32_t pyIndex(int32_t count, int64_t index);

// The classes of the records, of the kinds' collections, and of the
// tables' and blocks' collections.
void BindRecords(py::module_& m);
void BindKindLists(py::module_& m);
void BindTableLists(py::module_& m);

// The index of the first record equal to v, or -1.
template <class C>
int32_t indexOf(const C& c, const typename C::value_type& v) {
    for (int32_t i = 0; i < c.Count(); ++i)
        if (ValueEqual(c.ItemRef(i), v)) return i;
    return -1;
}

// The same, where a missing record is Python's ValueError.
template <class C>
int32_t requiredIndexOf(const C& c, const typename C::value_type& v) {
    const int32_t i = indexOf(c, v);
    if (i < 0) throw py::value_error("no equal record in the collection");
    return i;
}

template <class C>
C& addAll(C& c, const py::iterable& items) {
    for (py::handle h : items) c.Add(h.cast<typename C::value_type>());
    return c;
}

// Edits that Python lists already define, made on a list of the records and
// stored back whole.
template <class C, class F>
void editAsList(C& c, F&& edit) {
    py::list l = py::cast(c.GetArray());
    edit(l);
    c.SetArray(l.cast<std::vector<typename C::value_type>>());
}

// Pickling of a collection: its records, in order.
template <class C, class Cls>
void bindListPickle(Cls& cls) {
    cls.def(py::pickle([](const C& c) { return py::make_tuple(c.GetArray()); },
                       [](const py::tuple& state) {
                           auto c = std::make_shared<C>();
                           c->SetArray(state[0].cast<std::vector<typename C::value_type>>());
                           return c;
                       }));
    // collections.abc's classes live in _collections_abc, which the interpreter
    // has loaded at start; importing collections.abc would add a package.
    py::module_::import("_collections_abc").attr("MutableSequence").attr("register")(cls);
}

template <class C, class Cls>
void bindListMembers(Cls& cls) {
    using T = typename C::value_type;
    std::string toName = "To" + std::string(TypeNameOf<T>::value);
    if constexpr (std::is_same_v<C, LTYPES>) toName = "ToLTYPES";
    cls.def(py::init<>())
        .def_static(toName.c_str(), [](py::handle value) { return C::ToRecord(fromPython(value)); }, py::arg("Value"))
        .def_property_readonly("Count", [](const C& c) { return c.Count(); }, help::kHelpCount)
        .def_property_readonly("LowerBound", [](const C& c) { return c.LowerBound(); }, help::kHelpLowerBound)
        .def_property_readonly("UpperBound", [](const C& c) { return c.UpperBound(); }, help::kHelpUpperBound)
        .def_property_readonly("VarType", [](const C& c) { return c.VarType(); }, help::kHelpVarType)
        .def_property("GrowLength", [](const C& c) { return c.GrowLength(); }, [](C& c, int32_t v) { c.SetGrowLength(v); }, help::kHelpGrowLength)
        .def_property("ShrinkFactor", [](const C& c) { return c.ShrinkFactor(); }, [](C& c, float v) { c.SetShrinkFactor(v); }, help::kHelpShrinkFactor)
        .def("Item", [](const C& c, int32_t i) { return c.Item(i); }, py::arg("Index"), "A copy of the record at the index.")
        .def("LetItem", [](C& c, int32_t i, const T& v) { c.LetItem(i, v); }, py::arg("Index"), py::arg("Value"), "Stores a copy of the record at the index.")
        .def("AddItem", [](C& c, const T& v) { c.AddItem(v); }, py::arg("Value"), help::kHelpAddItem)
        .def("Add", [](C& c, const T& v) { c.Add(v); }, py::arg("Item"))
        .def("RemoveItem", [](C& c, int32_t i, bool keep) { c.RemoveItem(i, keep); }, py::arg("Index"), py::arg("KeepSequence") = true, help::kHelpRemoveItem)
        .def("Delete", [](C& c, int32_t i) { c.Delete(i); }, py::arg("Index"))
        .def("SetCount", [](C& c, int32_t n, bool keep) { c.SetCount(n, keep); }, py::arg("Count"), py::arg("PreserveValues") = false, help::kHelpSetCount)
        .def("EraseArray", [](C& c) { c.EraseArray(); }, help::kHelpEraseArray)
        .def("Shrink", [](C& c, bool destroy) { c.Shrink(destroy ? 1 : 0); }, py::arg("DestroyCache") = false, help::kHelpShrink)
        .def(
            "Find",
            [](const C& c, const T& value) {
                const int32_t i = indexOf(c, value);
                return std::make_tuple(i >= 0, i);
            },
            py::arg("Value"), "Returns (found, index) of the first record equal to the value; (False, -1) if none is.")
        .def(
            "Copy", [](const C& c, std::optional<int32_t> m, std::optional<int32_t> n) { return c.Copy(m, n); }, py::arg("m") = py::none(),
            py::arg("n") = py::none())
        .def(
            "Sort",
            [](C& c, std::optional<int32_t> m, std::optional<int32_t> n, py::object comparer) {
                auto cmp = comparerFrom(comparer);
                py::gil_scoped_release release;
                c.Sort(m, n, cmp);
            },
            py::arg("m") = py::none(), py::arg("n") = py::none(), py::arg("Comparer") = py::none(),
            "Sorts positions m..n with a comparer: an IComparer, an object with Compare(a, b) or a callable.")
        .def("SetArray", [](C& c, std::vector<T> items) { c.SetArray(std::move(items)); }, py::arg("Value"))
        .def("GetArray", [](const C& c) { return c.GetArray(); })
        .def("AsIArrayList", [](C& c) { return c.AsIArrayList(); })
        .def("AsIComparer", [](C& c) { return c.AsIComparer(); })
        .def("__len__", [](const C& c) { return c.Count(); })
        .def("__getitem__", [](const C& c, int64_t i) { return c.Item(pyIndex(c.Count(), i)); })
        .def("__getitem__", [](const C& c, const py::slice& s) {
            py::list all = py::cast(c.GetArray());
            return py::list(all[s]).cast<std::vector<T>>();
        })
        .def("__setitem__", [](C& c, int64_t i, const T& v) { c.LetItem(pyIndex(c.Count(), i), v); })
        .def("__setitem__", [](C& c, const py::slice& s, const py::iterable& items) { editAsList<C>(c, [&](py::list& l) { l[s] = items; }); })
        .def("__delitem__", [](C& c, int64_t i) { c.RemoveItem(pyIndex(c.Count(), i), true); })
        .def("__delitem__", [](C& c, const py::slice& s) { editAsList<C>(c, [&](py::list& l) { l.attr("__delitem__")(s); }); })
        .def("__contains__", [](const C& c, const T& v) { return indexOf(c, v) >= 0; })
        .def("append", [](C& c, const T& v) { c.Add(v); }, py::arg("value"))
        .def("extend", [](C& c, const py::iterable& items) { addAll(c, items); }, py::arg("values"))
        .def("__iadd__", [](C& c, const py::iterable& items) -> C& { return addAll(c, items); })
        .def("insert", [](C& c, int64_t i, const T& v) { editAsList<C>(c, [&](py::list& l) { l.insert(static_cast<std::size_t>(std::clamp<int64_t>(i < 0 ? i + l.size() : i, 0, static_cast<int64_t>(l.size()))), py::cast(v)); }); }, py::arg("index"), py::arg("value"))
        .def("index", [](const C& c, const T& v) { return requiredIndexOf(c, v); }, py::arg("value"))
        .def("count", [](const C& c, const T& v) {
                int32_t n = 0;
                for (const T& r : c) n += ValueEqual(r, v) ? 1 : 0;
                return n; }, py::arg("value"))
        .def("remove", [](C& c, const T& v) { c.RemoveItem(requiredIndexOf(c, v), true); }, py::arg("value"))
        .def("pop", [](C& c, int64_t i) {
                const int32_t at = pyIndex(c.Count(), i);
                T r = c.Item(at);
                c.RemoveItem(at, true);
                return r; }, py::arg("index") = -1)
        .def("reverse", [](C& c) { editAsList<C>(c, [](py::list& l) { l.attr("reverse")(); }); })
        .def("clear", [](C& c) { c.EraseArray(); })
        .def(
            "__iter__", [](const C& c) { return py::make_iterator<py::return_value_policy::copy>(c.begin(), c.end()); }, py::keep_alive<0, 1>())
        .def("__repr__", [](const C& c) { return "<" + std::string(C::kClassName) + " Count=" + std::to_string(c.Count()) + ">"; });
    if constexpr (requires(C& c) { c.DeleteByName(std::string_view{}); }) {
        cls.def("DeleteByName", [](C& c, const std::string& name) { return c.DeleteByName(name); }, py::arg("Name"))
            .def(
                "ItemByName",
                [](const C& c, const std::string& name) -> py::object {
                    T found{};
                    if (!c.ItemByName(name, found)) return py::none();
                    return py::cast(std::move(found));
                },
                py::arg("Name"), "A copy of the record with the name (any letter case), or None.")
            .def("Clear", [](C& c) { c.Clear(); });
    }
    bindListPickle<C>(cls);
}

template <class C>
void bindList(py::module_& m) {
    py::class_<C, Object, std::shared_ptr<C>> cls(m, std::string(C::kClassName).c_str());
    bindListMembers<C>(cls);
}


}  // namespace ormavec::python
