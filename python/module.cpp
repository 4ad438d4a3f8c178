// The Python module: the whole document model under its own names. Records
// are value objects (taking one out of a collection copies it; storing it
// back is explicit); the collections a block or an insert refers to are
// shared objects, as in C++. The records are bound in records.cpp, the
// collections in kind_lists.cpp and table_lists.cpp.
#include "python/bindings.h"

#include <atomic>
#include <cerrno>
#include <mutex>
#include <vector>

using namespace ormavec;
using namespace ormavec::python;

namespace {

// ---------------------------------------------------------------- errors

PyObject* gError = nullptr;
PyObject* gFileNotFound = nullptr;
PyObject* gAccess = nullptr;
PyObject* gConversion = nullptr;
PyObject* gInvalidArgument = nullptr;
PyObject* gOutOfRange = nullptr;

// Text of the library as a Python string; a file's stray bytes never turn
// into a decoding error of their own.
py::str textOf(std::string_view t) {
    return py::reinterpret_steal<py::str>(PyUnicode_DecodeUTF8(t.data(), static_cast<Py_ssize_t>(t.size()), "backslashreplace"));
}

// The library's error as the Python exception that fits it: file errors are
// OSErrors with errno and file name, conversions and bad arguments
// ValueErrors, positions IndexErrors; all are ormavec.Error.
void raisePython(const Error& e, const std::string* fileName = nullptr) {
    PyObject* type = gError;
    int osError = 0;
    switch (e.number()) {
    case err::FileNotFound:
    case err::PathNotFound: type = gFileNotFound, osError = ENOENT; break;
    case err::PermissionDenied: type = gAccess, osError = EACCES; break;
    case err::TypeMismatch:
    case err::Overflow: type = gConversion; break;
    case ErrInvalidArgument: type = gInvalidArgument; break;
    case err::SubscriptOutOfRange: type = gOutOfRange; break;
    default: break;
    }
    py::object cls = py::reinterpret_borrow<py::object>(type);
    py::object instance = osError != 0 ? cls(osError, textOf(e.what()), fileName ? py::object(textOf(*fileName)) : py::none())
                                       : cls(textOf(e.what()));
    instance.attr("number") = e.number();
    instance.attr("source") = textOf(e.source());
    instance.attr("description") = textOf(e.description());
    PyErr_SetObject(type, instance.ptr());
}

// A file argument: a str or any os.PathLike (bytes paths decoded as the
// file system does).
std::string pathOf(py::handle path) {
    py::object os = py::module_::import("os");
    return os.attr("fsdecode")(os.attr("fspath")(path)).cast<std::string>();
}

// Runs a file operation without the interpreter lock; a file error names the file.
template <class F>
void fileCall(const std::string& fileName, F&& f) {
    try {
        py::gil_scoped_release release;
        f();
    } catch (const Error& e) {
        raisePython(e, &fileName);
        throw py::error_already_set();
    }
}

PyObject* newError(const char* name, PyObject* also) {
    py::tuple bases = py::make_tuple(py::handle(gError), py::handle(also));
    return PyErr_NewException(name, bases.ptr(), nullptr);
}

// Once the interpreter exits, a document still alive is left to the system
// instead of being freed record by record (a tenth of a large load's time);
// the parked pointers keep it reachable for leak checkers.
std::atomic<bool> gExiting{false};

std::shared_ptr<DXFDocument> newDocument() {
    return std::shared_ptr<DXFDocument>(new DXFDocument(), [](DXFDocument* d) {
        if (!gExiting.load(std::memory_order_relaxed)) {
            delete d;
            return;
        }
        static std::mutex lock;
        static auto* parked = new std::vector<DXFDocument*>();
        std::lock_guard<std::mutex> hold(lock);
        parked->push_back(d);
    });
}

const char* const kLoadOptions[] = {"TextConvertMode", "CodePage", "SaveMode", "Binary", "Progress", "Recover", "Preserve"};

py::tuple pairsToPython(const std::vector<DxfEntry>& pairs) {
    py::tuple out(pairs.size());
    for (std::size_t i = 0; i < pairs.size(); ++i) out[i] = py::make_tuple(pairs[i].Code, pairs[i].Value);
    return out;
}

}  // namespace

namespace {
template <class... R>
uint32_t placeOf(py::handle record, TypeList<R...>) {
    uint32_t place = 0;
    (
        [&] {
            if constexpr (requires(const R& r) { r.kept.place; })
                if (!place && py::isinstance<R>(record)) place = record.cast<const R&>().kept.place;
        }(),
        ...);
    return place;
}
}  // namespace

py::object ormavec::python::KeptOfRecord(const KeptEntities* kept, py::handle record) {
    const uint32_t place = placeOf(record, AllRecords{});
    if (!kept || !place) return py::none();
    const uint32_t handle = kept->HandleOf(place);
    std::vector<DxfEntry> pairs = kept->PairsOf(place);
    if (!handle && pairs.empty()) return py::none();
    return py::make_tuple(handle, pairsToPython(pairs));
}

py::tuple ormavec::python::KeptToPython(const KeptEntities* kept) {
    if (!kept) return py::tuple();
    py::tuple out(kept->Items().size());
    for (std::size_t i = 0; i < kept->Items().size(); ++i) out[i] = py::cast(kept->Items()[i]);
    return out;
}

PYBIND11_MODULE(ormavec, m) {
    m.doc() = "Read, change and write DXF drawings (text or binary).";
    m.attr("__version__") = ORMAVEC_VERSION;
    gExiting = false;
    py::module_::import("atexit").attr("register")(py::cpp_function([] { gExiting = true; }));

    gError = PyErr_NewException("ormavec.Error", PyExc_Exception, nullptr);
    gFileNotFound = newError("ormavec.FileNotFoundError", PyExc_FileNotFoundError);
    gAccess = newError("ormavec.AccessDeniedError", PyExc_PermissionError);
    gConversion = newError("ormavec.ConversionError", PyExc_ValueError);
    gInvalidArgument = newError("ormavec.InvalidArgumentError", PyExc_ValueError);
    gOutOfRange = newError("ormavec.OutOfRangeError", PyExc_IndexError);
    m.attr("Error") = py::handle(gError);
    m.attr("FileNotFoundError") = py::handle(gFileNotFound);
    m.attr("AccessDeniedError") = py::handle(gAccess);
    m.attr("ConversionError") = py::handle(gConversion);
    m.attr("InvalidArgumentError") = py::handle(gInvalidArgument);
    m.attr("OutOfRangeError") = py::handle(gOutOfRange);
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
        .value("NONE", TextConvertMode::None)
        .value("FromUTF8", TextConvertMode::FromUTF8)
        .value("Utf8", TextConvertMode::Utf8)
        .value("Auto", TextConvertMode::Auto);
    py::enum_<SaveMode>(m, "SaveMode").value("Classic", SaveMode::Classic).value("Standard", SaveMode::Standard).value("R12", SaveMode::R12);
    py::enum_<CodePage>(m, "CodePage").value("Windows1250", CodePage::Windows1250).value("Windows1252", CodePage::Windows1252);

    py::class_<Object, std::shared_ptr<Object>>(m, "Object").def_property_readonly("ClassName", [](const Object& o) {
        return std::string(o.ClassName());
    });

    // Kept content is a read-only copy: the host changes the model through
    // the typed records; what was kept is written back as it was read.
    py::class_<RawEntity>(m, "KeptEntity", "An entity a preserving load kept as the pairs of the file.")
        .def_property_readonly("Name", [](const RawEntity& e) { return e.Name; })
        .def_property_readonly("Handle", [](const RawEntity& e) { return e.Handle(); }, "The handle it carried, 0 for none.")
        .def_property_readonly("Place", [](const RawEntity& e) { return e.Place; }, "Its place among the entities read (draw order).")
        .def_property_readonly("Pairs", [](const RawEntity& e) { return pairsToPython(e.Pairs); }, "(code, value text) pairs after 0/Name.")
        .def("__repr__", [](const RawEntity& e) {
            return "KeptEntity(" + e.Name + ", handle " + std::to_string(e.Handle()) + ", " + std::to_string(e.Pairs.size()) + " pairs)";
        });

    BindRecords(m);

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

    BindKindLists(m);
    BindTableLists(m);

    py::class_<HEADER, Object, std::shared_ptr<HEADER>>(m, "HEADER", "The header variables the model keeps.")
        .def(py::init<>())
        .def_property("AcadVer", &HEADER::AcadVer, &HEADER::SetAcadVer)
        // The points in place: changing a coordinate changes the header.
        .def_property("ExtMax", py::cpp_function(&HEADER::ExtMaxRef, py::return_value_policy::reference_internal), &HEADER::SetExtMax)
        .def_property("ExtMin", py::cpp_function(&HEADER::ExtMinRef, py::return_value_policy::reference_internal), &HEADER::SetExtMin)
        .def_property("InsBase", py::cpp_function(&HEADER::InsBaseRef, py::return_value_policy::reference_internal), &HEADER::SetInsBase)
        .def_property_readonly(
            "Kept",
            [](const HEADER& h) {
                py::list out;
                for (const HEADER::KeptVariable& v : h.Kept()) out.append(py::make_tuple(v.Name, pairsToPython(v.Pairs)));
                return py::tuple(out);
            },
            "Every variable of a preserving load in file order, as (name, pairs); no pairs for those the model holds.");

    py::class_<ENTITIES, Object, std::shared_ptr<ENTITIES>> entities(m, "ENTITIES", "The entity collections of the model space.");
    entities
        .def(py::init<>())
        .def("ReCalcExtent",
             [](const ENTITIES& e) {
                 double x0 = 0, y0 = 0, x1 = 0, y1 = 0;
                 e.ReCalcExtent(x0, y0, x1, y1);
                 return std::make_tuple(x0, y0, x1, y1);
             },
             "Returns (X0, Y0, X1, Y1), the 2D extent of the model space.")
        ;
    kinds::ForEachInSectionOrder([&]<Kind K>() {
        if constexpr (Holds<ENTITIES, K>)
            entities.def_property_readonly(std::string(kinds::RowOf(K).list).c_str(),
                                           [](const ENTITIES& e) { return ListIn<K>(e); });
    });

    entities.def_property_readonly(
        "Kept", [](const ENTITIES& e) { return KeptToPython(e.Kept().get()); },
        "What a preserving load kept as pairs (kinds the model does not type): a tuple of KeptEntity, in the order read.");
    entities.def(
        "KeptOf", [](const ENTITIES& e, py::handle record) { return KeptOfRecord(e.Kept().get(), record); }, py::arg("Record"), kKeptOfHelp);

    py::class_<TABLES, Object, std::shared_ptr<TABLES>>(m, "TABLES", "Layers, line types and text styles.")
        .def(py::init<>())
        .def_property_readonly("LAYERS", &TABLES::LAYERS)
        .def_property_readonly("LTYPES", &TABLES::LTYPES)
        .def_property_readonly("STYLES", &TABLES::STYLES)
        .def(
            "Kept",
            [](const TABLES& t, std::string_view name) -> py::object {
                const KeptTable* kept = t.Kept(UpperCase(name));
                if (!kept) return py::none();
                return py::make_tuple(kept->head, KeptToPython(&kept->entries));
            },
            py::arg("Name"),
            "The table of this name a preserving load kept: (head, entries) as KeptEntity and a tuple of them; entries are "
            "kept for the tables the model does not type (VPORT, VIEW, UCS, APPID, DIMSTYLE, BLOCK_RECORD...). None when none.");

    py::class_<clsDebug, Object, std::shared_ptr<clsDebug>>(m, "clsDebug", "Call-log settings of the calling thread.")
        .def(py::init<>())
        .def_property("bCallLog", [](const clsDebug&) { return CallLogOn(); }, &clsDebug::bCallLog)
        .def_property("sLogFileName", [](const clsDebug&) { return CallLogFileName(); },
                      [](clsDebug& d, py::handle name) { d.sLogFileName(pathOf(name)); });

    py::class_<DXFDocument, Object, std::shared_ptr<DXFDocument>>(
        m, "DXFDocument",
        "A drawing: HEADER, TABLES, BLOCKS and ENTITIES. Load adds a file's content to the model; Save writes a complete file.")
        .def(py::init(&newDocument))
        .def_property_readonly("HEADER", &DXFDocument::HEADER)
        .def_property_readonly("ENTITIES", &DXFDocument::ENTITIES)
        .def_property_readonly("BLOCKS", &DXFDocument::BLOCKS)
        .def_property_readonly("TABLES", &DXFDocument::TABLES)
        .def_property_readonly("FileName", &DXFDocument::FileName)
        .def(
            "Load",
            [](DXFDocument& d, py::handle path) {
                const std::string fileName = pathOf(path);
                fileCall(fileName, [&] { d.Load(fileName); });
            },
            py::arg("FileName"), "Reads the file (a str or os.PathLike) into the model; the model is not cleared first.")
        .def(
            "Save",
            [](DXFDocument& d, py::handle path) {
                const std::string fileName = pathOf(path);
                fileCall(fileName, [&] { d.Save(fileName); });
            },
            py::arg("FileName"), "Writes the model as a complete drawing file (a str or os.PathLike).")
        .def(
            "to_svg",
            [](const DXFDocument& d, py::object path, std::vector<std::string> layers, std::string background, double width) -> py::object {
                SvgOptions o{std::move(layers), std::move(background), width};
                if (path.is_none()) {
                    std::string text;
                    WriteSvg(d, o, "", &text);
                    return py::str(text);
                }
                const std::string fileName = pathOf(path);
                fileCall(fileName, [&] { WriteSvg(d, o, fileName); });
                return py::none();
            },
            py::arg("path") = py::none(), py::arg("layers") = std::vector<std::string>{}, py::arg("background") = "",
            py::arg("width") = 1000.0,
            "The model space as an SVG picture: written to path (a str or os.PathLike), or returned as a str without one.")
        .def("ExplodePolyLines", &DXFDocument::ExplodePolyLines)
        .def("ExplodeLWPolyLines", &DXFDocument::ExplodeLWPolyLines)
        .def_property("TextConvertMode", &DXFDocument::TextConvertMode, &DXFDocument::SetTextConvertMode)
        .def_property("VersionMode", &DXFDocument::VersionMode, &DXFDocument::SetVersionMode,
                      "The version mode of the calling thread: one setting for every document used on the thread "
                      "(the same as ormavec.thread_version_mode()).")
        .def_property("SaveMode", &DXFDocument::SaveMode, &DXFDocument::SetSaveMode)
        .def_property("R12Handles", &DXFDocument::R12Handles, &DXFDocument::SetR12Handles, "R12 saves: whether entities get handles.")
        .def_property("R12Tolerance", &DXFDocument::R12Tolerance, &DXFDocument::SetR12Tolerance,
                      "R12 saves: how far (drawing units) an ellipse's chords may stray from it; 0 is 1/1000 of its major radius.")
        .def_property("Binary", &DXFDocument::Binary, &DXFDocument::SetBinary, "Saves write binary DXF of the same content.")
        // A CodePage, a number (1251) or a drawing's name for a page ("ANSI_1251", "DOS866").
        .def_property("CodePage", &DXFDocument::CodePage,
                      [](DXFDocument& d, const py::object& v) {
                          if (py::isinstance<py::str>(v))
                              d.SetCodePage(v.cast<std::string>());
                          else if (py::isinstance<CodePage>(v))
                              d.SetCodePage(v.cast<CodePage>());
                          else
                              d.SetCodePage(std::to_string(v.cast<int64_t>()));
                      })
        .def_property_readonly("CodePageName", [](const DXFDocument& d) { return CodePageName(d.CodePage()); })
        .def_property_readonly("DeclaredCodePage", &DXFDocument::DeclaredCodePage)
        .def_property_readonly("ReadAsUtf8", &DXFDocument::ReadAsUtf8)
        .def_property("Preserve", &DXFDocument::Preserve, &DXFDocument::SetPreserve,
                      "Loads keep what the typed model does not hold, and Standard saves write it back.")
        .def_property_readonly(
            "KeptObjects", [](const DXFDocument& d) { return KeptToPython(d.KeptObjects()); },
            "The objects a preserving load kept (dictionaries, layouts, groups...): a tuple of KeptEntity, in file order.")
        .def_property_readonly(
            "KeptClasses", [](const DXFDocument& d) { return KeptToPython(d.KeptClasses()); },
            "The CLASSES entries a preserving load kept: a tuple of KeptEntity, in file order.")
        .def_property_readonly(
            "NotKept",
            [](const DXFDocument& d) {
                const NotKept& n = d.NotKept();
                py::dict out;
                out["entities"] = py::dict(py::cast(n.entities));
                out["header_variables"] = n.headerVariables;
                out["objects"] = n.objects;
                out["xdata_entities"] = n.xdataEntities;
                out["classes"] = n.classes;
                out["duplicate_blocks"] = n.duplicateBlocks;
                out["table_entries"] = py::dict(py::cast(n.tableEntries));
                out["text"] = n.Text();
                return out;
            },
            "What the last load read but did not keep: counts by kind of loss, and the warning's text.")
        .def_property("Recover", &DXFDocument::Recover, &DXFDocument::SetRecover,
                      "Loads repair blank group-code lines, decimal commas and blanks in numbers, each with a warning.")
        .def_property_readonly(
            "Warnings",
            [](const DXFDocument& d) {
                std::vector<std::string> out;
                for (const LoadWarning& w : d.Warnings()) out.push_back(w.Text());
                return out;
            },
            "What the last load repaired or found missing, as \"file:line: message\".")
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
                // Freed with the lock held, whichever thread drops the document.
                std::shared_ptr<py::object> holder(new py::object(std::move(fn)), [](py::object* o) {
                    if (Py_IsInitialized()) {
                        py::gil_scoped_acquire gil;
                        delete o;
                    } else {
                        o->release();
                        delete o;
                    }
                });
                d.Progress = [holder](int32_t& percent) {
                    py::gil_scoped_acquire gil;
                    py::object result = (*holder)(percent);
                    if (!result.is_none()) percent = result.cast<int32_t>();
                };
            },
            "A callable receiving the percentage of the file read; a number it returns replaces the percentage.");

    m.def("thread_version_mode", [] { return static_cast<int16_t>(CurrentVersionMode()); },
          "The version mode of the calling thread, which every document used on the thread follows.");
    m.def("set_thread_version_mode", [](int16_t mode) { DXFDocument().SetVersionMode(mode); }, py::arg("mode"),
          "Sets the version mode of the calling thread (for every document used on it).");
    m.def(
        "load",
        [](py::handle path, const py::kwargs& options) {
            auto doc = newDocument();
            py::object d = py::cast(doc);
            for (auto [key, value] : options) {
                const std::string name = py::str(key);
                if (std::find(std::begin(kLoadOptions), std::end(kLoadOptions), name) == std::end(kLoadOptions))
                    throw py::type_error("load() has no option " + name + " (it takes TextConvertMode, CodePage, SaveMode, Binary, Progress, Recover, Preserve)");
                py::setattr(d, key, value);
            }
            d.attr("Load")(path);
            return doc;
        },
        py::arg("path"), "A new document with the file read into it; options are the document's settings of the same names.");
}
