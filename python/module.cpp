// The Python module: the whole document model under its own names. Records
// are value objects (taking one out of a collection copies it; storing it
// back is explicit); the collections a block or an insert refers to are
// shared objects, as in C++.
#include <pybind11/functional.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <tuple>

#include "document/fields.h"
#include "ormavec.h"

namespace py = pybind11;
using namespace ormavec;

namespace {

// ---------------------------------------------------------------- errors

PyObject* gError = nullptr;
PyObject* gFileNotFound = nullptr;
PyObject* gConversion = nullptr;

void raisePython(const Error& e) {
    PyObject* type = gError;
    switch (e.number()) {
    case err::FileNotFound:
    case err::PathNotFound: type = gFileNotFound; break;
    case err::TypeMismatch:
    case err::Overflow: type = gConversion; break;
    default: break;
    }
    py::object cls = py::reinterpret_borrow<py::object>(type);
    py::object instance = cls(py::str(e.what()));
    instance.attr("number") = e.number();
    instance.attr("source") = py::str(e.source());
    instance.attr("description") = py::str(e.description());
    PyErr_SetObject(type, instance.ptr());
}

// ---------------------------------------------------------------- variants

template <class... Records>
struct RecordTypes {};
using AllRecords = RecordTypes<XYZ, LINE_ENT, ARC_ENT, CIRCLE_ENT, ELLIPSE_ENT, POINT_ENT, SOLID_ENT, FACE3D_ENT, TEXT_ENT, MTEXT_ENT,
                               ATTDEF_ENT, ATTRIB_ENT, INSERT_ENT, VERTEX_ENT, POLYLINE_ENT, LWVERTEX, LWPOLYLINE_ENT,
                               HATCH_BOUNDARY_POLYLINE, HATCH_BOUNDARY_LINE, HATCH_BOUNDARY_ARC, HATCH_BOUNDARY_ELLIPSE,
                               HATCH_BOUNDARY_SPLINE, HATCH_ENT, LAYERS_TAB, LINEPATTERN, LTYPES_TAB, STYLES_TAB, BLOCK_BLOCK>;

py::object toPython(const Variant& v);

template <class... R>
py::object recordToPython(const Variant& v, RecordTypes<R...>) {
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
py::object arrayToPython(const Variant& v, RecordTypes<R...>) {
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

template <class... R>
bool recordFromPython(py::handle h, Variant& out, RecordTypes<R...>) {
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

// A Python callable, or an object with a Compare method, as an IComparer.
class PyComparer final : public IComparer {
public:
    explicit PyComparer(py::object fn) : fn_(std::move(fn)) {}
    int16_t Compare(const Variant& a, const Variant& b) override {
        py::gil_scoped_acquire gil;
        py::object result = fn_(toPython(a), toPython(b));
        long value = result.cast<long>();
        return static_cast<int16_t>(value < 0 ? -1 : (value > 0 ? 1 : 0));
    }

private:
    py::object fn_;
};

std::shared_ptr<IComparer> comparerFrom(const py::object& c) {
    if (c.is_none()) return nullptr;
    if (py::isinstance<IComparer>(c)) return c.cast<std::shared_ptr<IComparer>>();
    if (py::hasattr(c, "Compare")) return std::make_shared<PyComparer>(c.attr("Compare"));
    if (PyCallable_Check(c.ptr())) return std::make_shared<PyComparer>(c);
    throw py::type_error("Comparer must be an IComparer, an object with a Compare method, or a callable");
}

// ---------------------------------------------------------------- records

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

template <class R>
void bindRecord(py::module_& m) {
    py::class_<R> cls(m, std::string(R::kTypeName).c_str());
    cls.def(py::init<>());
    ForEachField<R>([&](std::string_view name, auto member) {
        using M = std::remove_reference_t<decltype(std::declval<R&>().*member)>;
        std::string n(name);
        if constexpr (std::is_same_v<M, std::vector<Variant>>) {
            cls.def_property(
                n.c_str(),
                [member](const R& r) {
                    py::list out;
                    for (const Variant& v : r.*member) out.append(toPython(v));
                    return out;
                },
                [member](R& r, const py::iterable& items) {
                    std::vector<Variant> values;
                    for (py::handle h : items) values.push_back(fromPython(h));
                    r.*member = std::move(values);
                });
        } else {
            cls.def_readwrite(n.c_str(), member);
        }
    });
    cls.def("__repr__", [](const R& r) { return reprOf(r); });
    cls.def("__copy__", [](const R& r) { return R(r); });
    cls.def("__deepcopy__", [](const R& r, py::dict) { return R(r); });
}

template <class... R>
void bindRecords(py::module_& m, RecordTypes<R...>) {
    (bindRecord<R>(m), ...);
}

// ---------------------------------------------------------------- collections

int32_t pyIndex(int32_t count, int64_t index) {
    if (index < 0) index += count;
    if (index < 0 || index >= count) throw py::index_error("index out of range");
    return static_cast<int32_t>(index);
}

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

}  // namespace

PYBIND11_MODULE(ormavec, m) {
    m.doc() = "Read, change and write ASCII DXF drawings.";
    m.attr("__version__") = ORMAVEC_VERSION;

    gError = PyErr_NewException("ormavec.Error", PyExc_Exception, nullptr);
    {
        py::tuple bases = py::make_tuple(py::handle(gError), py::handle(PyExc_FileNotFoundError));
        gFileNotFound = PyErr_NewException("ormavec.FileNotFoundError", bases.ptr(), nullptr);
        py::tuple vbases = py::make_tuple(py::handle(gError), py::handle(PyExc_ValueError));
        gConversion = PyErr_NewException("ormavec.ConversionError", vbases.ptr(), nullptr);
    }
    m.attr("Error") = py::handle(gError);
    m.attr("FileNotFoundError") = py::handle(gFileNotFound);
    m.attr("ConversionError") = py::handle(gConversion);
    py::register_exception_translator([](std::exception_ptr p) {
        try {
            if (p) std::rethrow_exception(p);
        } catch (const Error& e) {
            raisePython(e);
        }
    });

    m.attr("ErrInvalidArgument") = ErrInvalidArgument;
    m.attr("ErrInvalidOperation") = ErrInvalidOperation;
    m.attr("ErrNotSupported") = ErrNotSupported;

    py::enum_<TextConvertMode>(m, "TextConvertMode")
        .value("None_", TextConvertMode::None)
        .value("FromUTF8", TextConvertMode::FromUTF8)
        .value("Utf8", TextConvertMode::Utf8)
        .value("Auto", TextConvertMode::Auto);
    m.attr("TextConvertMode").attr("NONE") = TextConvertMode::None;
    py::enum_<SaveMode>(m, "SaveMode").value("Classic", SaveMode::Classic).value("Standard", SaveMode::Standard);
    py::enum_<CodePage>(m, "CodePage").value("Windows1250", CodePage::Windows1250).value("Windows1252", CodePage::Windows1252);

    py::class_<Object, std::shared_ptr<Object>>(m, "Object").def_property_readonly("ClassName", [](const Object& o) {
        return std::string(o.ClassName());
    });

    bindRecords(m, AllRecords{});

    py::class_<IComparer, Object, std::shared_ptr<IComparer>>(m, "IComparer")
        .def("Compare", [](IComparer& c, py::handle a, py::handle b) { return c.Compare(fromPython(a), fromPython(b)); });
    py::class_<IArrayList, Object, std::shared_ptr<IArrayList>>(m, "IArrayList")
        .def("SetArray", [](IArrayList& l, py::handle v) { l.SetArray(fromPython(v)); })
        .def("GetArray", [](const IArrayList& l) { return toPython(l.GetArray()); })
        .def("Copy", [](const IArrayList& l, py::handle mm, py::handle n) { return l.Copy(fromPython(mm), fromPython(n)); },
             py::arg("m") = py::none(), py::arg("n") = py::none())
        .def_property("ShrinkFactor", &IArrayList::ShrinkFactor, &IArrayList::SetShrinkFactor)
        .def_property_readonly("LowerBound", &IArrayList::LowerBound)
        .def_property_readonly("UpperBound", &IArrayList::UpperBound)
        .def_property("GrowLength", &IArrayList::GrowLength, &IArrayList::SetGrowLength)
        .def("Shrink", [](IArrayList& l, bool d) { l.Shrink(d ? 1 : 0); }, py::arg("DestroyCache") = false)
        .def("EraseArray", &IArrayList::EraseArray)
        .def("SetCount", &IArrayList::SetCount, py::arg("Count"), py::arg("PreserveValues") = false)
        .def_property_readonly("Count", &IArrayList::Count)
        .def("AddItem", [](IArrayList& l, py::handle v) { l.AddItem(fromPython(v)); })
        .def("RemoveItem", &IArrayList::RemoveItem, py::arg("Index"), py::arg("KeepSequence") = true)
        .def("LetItem", [](IArrayList& l, int32_t i, py::handle v) { l.LetItem(i, fromPython(v)); })
        .def("SetItem", [](IArrayList& l, int32_t i, py::handle v) { l.SetItem(i, fromPython(v)); })
        .def("Item", [](const IArrayList& l, int32_t i) { return toPython(l.Item(i)); })
        .def("Find",
             [](const IArrayList& l, py::handle v) {
                 int32_t index = -1;
                 bool found = l.Find(fromPython(v), index);
                 return std::make_tuple(found, index);
             })
        .def_property_readonly("VarType", &IArrayList::VarType)
        .def("CreateNew", &IArrayList::CreateNew)
        .def("Sort", [](IArrayList& l, int32_t mm, int32_t n, py::object c) { l.Sort(mm, n, comparerFrom(c)); }, py::arg("m") = 0,
             py::arg("n") = 0, py::arg("Comparer") = py::none())
        .def("__len__", &IArrayList::Count)
        .def("__getitem__", [](const IArrayList& l, int64_t i) { return toPython(l.Item(pyIndex(l.Count(), i))); });

    bindList<LINES>(m);
    bindList<ARCS>(m);
    bindList<CIRCLES>(m);
    bindList<ELLIPSES>(m);
    bindList<POINTS>(m);
    bindList<SOLIDS>(m);
    bindList<FACE3DS>(m);
    bindList<TEXTS>(m);
    bindList<MTEXTS>(m);
    bindList<INSERTS>(m);
    bindList<ATTDEFS>(m);
    bindList<ATTRIBS>(m);
    bindList<POLYLINES>(m);
    bindList<LWPOLYLINES>(m);
    bindList<HATCHES>(m);
    bindList<LAYERS>(m);
    bindList<LTYPES>(m);
    bindList<STYLES>(m);
    {
        py::class_<BLOCKS, Object, std::shared_ptr<BLOCKS>> cls(m, "BLOCKS");
        bindListMembers<BLOCKS>(cls);
        cls.def_static(
            "CreateEntityArrays",
            [](BLOCK_BLOCK& elem) {
                BLOCKS::CreateEntityArrays(elem);
                return elem;
            },
            py::arg("Elem"), "Gives the record new, empty entity collections and returns it.");
    }

    py::class_<HEADER, Object, std::shared_ptr<HEADER>>(m, "HEADER", "The header variables the model keeps.")
        .def(py::init<>())
        .def_property("AcadVer", &HEADER::AcadVer, &HEADER::SetAcadVer)
        .def_property("ExtMax", &HEADER::ExtMax, &HEADER::SetExtMax)
        .def_property("ExtMin", &HEADER::ExtMin, &HEADER::SetExtMin)
        .def_property("InsBase", &HEADER::InsBase, &HEADER::SetInsBase);

    py::class_<ENTITIES, Object, std::shared_ptr<ENTITIES>>(m, "ENTITIES", "The entity collections of the model space.")
        .def(py::init<>())
        .def("ReCalcExtent",
             [](const ENTITIES& e) {
                 double x0 = 0, y0 = 0, x1 = 0, y1 = 0;
                 e.ReCalcExtent(x0, y0, x1, y1);
                 return std::make_tuple(x0, y0, x1, y1);
             },
             "Returns (X0, Y0, X1, Y1), the 2D extent of the model space.")
        .def_property_readonly("ARCS", &ENTITIES::ARCS)
        .def_property_readonly("CIRCLES", &ENTITIES::CIRCLES)
        .def_property_readonly("ELLIPSES", &ENTITIES::ELLIPSES)
        .def_property_readonly("FACE3DS", &ENTITIES::FACE3DS)
        .def_property_readonly("INSERTS", &ENTITIES::INSERTS)
        .def_property_readonly("LINES", &ENTITIES::LINES)
        .def_property_readonly("LWPOLYLINES", &ENTITIES::LWPOLYLINES)
        .def_property_readonly("MTEXTS", &ENTITIES::MTEXTS)
        .def_property_readonly("POLYLINES", &ENTITIES::POLYLINES)
        .def_property_readonly("POINTS", &ENTITIES::POINTS)
        .def_property_readonly("TEXTS", &ENTITIES::TEXTS)
        .def_property_readonly("SOLIDS", &ENTITIES::SOLIDS)
        .def_property_readonly("ATTDEFS", &ENTITIES::ATTDEFS)
        .def_property_readonly("ATTRIBS", &ENTITIES::ATTRIBS);

    py::class_<TABLES, Object, std::shared_ptr<TABLES>>(m, "TABLES", "Layers, line types and text styles.")
        .def(py::init<>())
        .def_property_readonly("LAYERS", &TABLES::LAYERS)
        .def_property_readonly("LTYPES", &TABLES::LTYPES)
        .def_property_readonly("STYLES", &TABLES::STYLES);

    py::class_<clsDebug, Object, std::shared_ptr<clsDebug>>(m, "clsDebug", "Call-log settings of the calling thread.")
        .def(py::init<>())
        .def_property("bCallLog", [](const clsDebug&) { return CallLogOn(); }, &clsDebug::bCallLog)
        .def_property("sLogFileName", [](const clsDebug&) { return CallLogFileName(); },
                      [](clsDebug& d, const std::string& name) { d.sLogFileName(name); });

    py::class_<DXFDocument, Object, std::shared_ptr<DXFDocument>>(
        m, "DXFDocument",
        "A drawing: HEADER, TABLES, BLOCKS and ENTITIES. Load adds a file's content to the model; Save writes a complete file.")
        .def(py::init<>())
        .def_property_readonly("HEADER", &DXFDocument::HEADER)
        .def_property_readonly("ENTITIES", &DXFDocument::ENTITIES)
        .def_property_readonly("BLOCKS", &DXFDocument::BLOCKS)
        .def_property_readonly("TABLES", &DXFDocument::TABLES)
        .def_property_readonly("FileName", &DXFDocument::FileName)
        .def(
            "Load",
            [](DXFDocument& d, const std::string& fileName) {
                py::gil_scoped_release release;
                d.Load(fileName);
            },
            py::arg("FileName"), "Reads the file into the model (the model is not cleared first).")
        .def(
            "Save",
            [](DXFDocument& d, const std::string& fileName) {
                py::gil_scoped_release release;
                d.Save(fileName);
            },
            py::arg("FileName"), "Writes the model as a complete drawing file.")
        .def("ExplodePolyLines", &DXFDocument::ExplodePolyLines)
        .def("ExplodeLWPolyLines", &DXFDocument::ExplodeLWPolyLines)
        .def_property("TextConvertMode", &DXFDocument::TextConvertMode, &DXFDocument::SetTextConvertMode)
        .def_property("VersionMode", &DXFDocument::VersionMode, &DXFDocument::SetVersionMode)
        .def_property("SaveMode", &DXFDocument::SaveMode, &DXFDocument::SetSaveMode)
        .def_property("CodePage", &DXFDocument::CodePage, &DXFDocument::SetCodePage)
        .def_property(
            "Progress",
            [](const DXFDocument& d) -> py::object {
                (void)d;
                return py::none();
            },
            [](DXFDocument& d, py::object fn) {
                if (fn.is_none()) {
                    d.Progress = nullptr;
                    return;
                }
                // The callable runs with the interpreter lock held; a number
                // it returns replaces the percentage.
                auto holder = std::make_shared<py::object>(std::move(fn));
                d.Progress = [holder](int32_t& percent) {
                    py::gil_scoped_acquire gil;
                    py::object result = (*holder)(percent);
                    if (!result.is_none()) percent = result.cast<int32_t>();
                };
            },
            "A callable receiving the percentage of the file read; a number it returns replaces the percentage.");
}
