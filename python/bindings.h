// What the files of the Python module share: the conversions between the
// model's values and Python objects, and the binding of a collection class.
#pragma once

#include <pybind11/functional.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <string>
#include <tuple>

#include "document/fields.h"
#include "ormavec.h"

namespace ormavec::python {

namespace py = pybind11;

py::object toPython(const Variant& v);
Variant fromPython(py::handle h);
// A Python callable, or an object with a Compare method, as an IComparer.
std::shared_ptr<IComparer> comparerFrom(const py::object& c);
// A Python index (negative from the end) checked against the count.
int32_t pyIndex(int32_t count, int64_t index);

// The classes of the records, of the kinds' collections, and of the
// tables' and blocks' collections.
void BindRecords(py::module_& m);
void BindKindLists(py::module_& m);
void BindTableLists(py::module_& m);

template <class C, class Cls>
void bindListMembers(Cls& cls) {
    using T = typename C::value_type;
    std::string toName = "To" + std::string(TypeNameOf<T>::value);
    if constexpr (std::is_same_v<C, LTYPES>) toName = "ToLTYPES";
    cls.def(py::init<>())
        .def_static(toName.c_str(), [](py::handle value) { return C::ToRecord(fromPython(value)); }, py::arg("Value"))
        .def_property_readonly("Count", [](const C& c) { return c.Count(); })
        .def_property_readonly("LowerBound", [](const C& c) { return c.LowerBound(); })
        .def_property_readonly("UpperBound", [](const C& c) { return c.UpperBound(); })
        .def_property_readonly("VarType", [](const C& c) { return c.VarType(); })
        .def_property("GrowLength", [](const C& c) { return c.GrowLength(); }, [](C& c, int32_t v) { c.SetGrowLength(v); })
        .def_property("ShrinkFactor", [](const C& c) { return c.ShrinkFactor(); }, [](C& c, float v) { c.SetShrinkFactor(v); })
        .def("Item", [](const C& c, int32_t i) { return c.Item(i); }, py::arg("Index"), "A copy of the record at the index.")
        .def("LetItem", [](C& c, int32_t i, const T& v) { c.LetItem(i, v); }, py::arg("Index"), py::arg("Value"), "Stores a copy of the record at the index.")
        .def("AddItem", [](C& c, const T& v) { c.AddItem(v); }, py::arg("Value"))
        .def("Add", [](C& c, const T& v) { c.Add(v); }, py::arg("Item"))
        .def("RemoveItem", [](C& c, int32_t i, bool keep) { c.RemoveItem(i, keep); }, py::arg("Index"), py::arg("KeepSequence") = true)
        .def("Delete", [](C& c, int32_t i) { c.Delete(i); }, py::arg("Index"))
        .def("SetCount", [](C& c, int32_t n, bool keep) { c.SetCount(n, keep); }, py::arg("Count"), py::arg("PreserveValues") = false)
        .def("EraseArray", [](C& c) { c.EraseArray(); })
        .def("Shrink", [](C& c, bool destroy) { c.Shrink(destroy ? 1 : 0); }, py::arg("DestroyCache") = false)
        .def(
            "Find",
            [](const C& c, const T& value) {
                int32_t index = -1;
                bool found = c.Find(value, index);
                return std::make_tuple(found, index);
            },
            py::arg("Value"), "Returns (found, index).")
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
        .def("__setitem__", [](C& c, int64_t i, const T& v) { c.LetItem(pyIndex(c.Count(), i), v); })
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
}

template <class C>
void bindList(py::module_& m) {
    py::class_<C, Object, std::shared_ptr<C>> cls(m, std::string(C::kClassName).c_str());
    bindListMembers<C>(cls);
}

}  // namespace ormavec::python
