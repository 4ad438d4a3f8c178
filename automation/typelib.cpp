// The type library "Ormavec" 7.2: every public class with its identifiers,
// every interface with its members in interface order, and the late-bound
// call of each member onto the typed model.
//
// Dispatch identifiers. Where the model's interfaces fix them (_DXFDocument,
// _HEADER, _ENTITIES, _clsDebug, the event __DXFDocument) they are written
// out below. Everywhere else (_TABLES, the collection interfaces, _IArrayList,
// _IComparer) they are assigned by one rule, so that they never change while
// the member lists stay as they are:
//   - Item, the default member, is DISPID_VALUE (0);
//   - any other member gets n = the position of its name among the distinct
//     member names of the interface, counted from 0 in interface order (a
//     let and a get of one property share the name and the id), and the id
//     0x68030000 + n for a property, 0x60030000 + n for a method.
// So on every collection interface To<record> is 0x60030000, Sort 0x60030001,
// SetArray 0x60030002, GetArray 0x60030003, VarType 0x68030004, ShrinkFactor
// 0x68030005, LowerBound 0x68030006, UpperBound 0x68030007, GrowLength
// 0x68030008, Shrink 0x60030009, EraseArray 0x6003000A, SetCount 0x6003000B,
// Count 0x6803000C, AddItem 0x6003000D, RemoveItem 0x6003000E, Item 0,
// Find 0x60030010, Copy 0x60030011, Add 0x60030012, Delete 0x60030013, then
// DeleteByName 0x60030014, ItemByName 0x60030015, Clear 0x60030016 and
// CreateEntityArrays 0x60030017 where the class has them. On _IArrayList:
// SetArray 0x60030000, GetArray 0x60030001, Copy 0x60030002, ShrinkFactor
// 0x68030003, LowerBound 0x68030004, UpperBound 0x68030005, GrowLength
// 0x68030006, Shrink 0x60030007, EraseArray 0x60030008, SetCount 0x60030009,
// Count 0x6803000A, AddItem 0x6003000B, RemoveItem 0x6003000C, Item 0, Find
// 0x6003000E, VarType 0x6803000F, CreateNew 0x60030010, Sort 0x60030011. On
// _IComparer: Compare 0x60030000. On _TABLES: LAYERS 0x68030000, LTYPES
// 0x68030001, STYLES 0x68030002.
#include <algorithm>
#include <cstdio>

#include "automation/typelib_build.h"

namespace ormavec::automation {

namespace {

using namespace build;

ClassInfo PlainClass(std::string name, const Interface* iface, const char* clsid, std::function<std::shared_ptr<Object>()> create) {
    ClassInfo c;
    c.name = std::move(name);
    c.clsid = G(clsid);
    c.defaultInterface = iface;
    c.create = std::move(create);
    return c;
}

// The creatable classes without members of their own.
class EmptyObject final : public Object {
public:
    explicit EmptyObject(std::string_view name) : name_(name) {}
    std::string_view ClassName() const override { return name_; }

private:
    std::string_view name_;
};

const Interface* DocumentInterface(TypeLibrary& lib) {
    Builder b(lib, "_DXFDocument", "{30D231CF-3033-48E3-8A71-10A00A89431A}");
    b.Add("HEADER", kGet, 0x68030004, {}, "HEADER", [](Object& o, Args&) { return Variant(Self<DXFDocument>(o).HEADER()); });
    b.Add("ENTITIES", kGet, 0x68030003, {}, "ENTITIES", [](Object& o, Args&) { return Variant(Self<DXFDocument>(o).ENTITIES()); });
    b.Add("BLOCKS", kGet, 0x68030002, {}, "BLOCKS", [](Object& o, Args&) { return Variant(Self<DXFDocument>(o).BLOCKS()); });
    b.Add("TABLES", kGet, 0x68030001, {}, "TABLES", [](Object& o, Args&) { return Variant(Self<DXFDocument>(o).TABLES()); });
    b.Add("FileName", kGet, 0x68030000, {}, "String", [](Object& o, Args&) { return Variant(Self<DXFDocument>(o).FileName()); });
    b.Add("Load", kMethod, 0x60030007, {Ref("FileName", "String")}, "", [](Object& o, Args& a) {
        Self<DXFDocument>(o).Load(a[0].ToString());
        return None();
    });
    b.Add("Save", kMethod, 0x6003000B, {Ref("FileName", "String")}, "", [](Object& o, Args& a) {
        Self<DXFDocument>(o).Save(a[0].ToString());
        return None();
    });
    b.Add("ExplodePolyLines", kMethod, 0x6003000C, {}, "", [](Object& o, Args&) {
        Self<DXFDocument>(o).ExplodePolyLines();
        return None();
    });
    b.Add("ExplodeLWPolyLines", kMethod, 0x6003000D, {}, "", [](Object& o, Args&) {
        Self<DXFDocument>(o).ExplodeLWPolyLines();
        return None();
    });
    b.Add("TextConvertMode", kLet, 0x6803000E, {Ref("Value", "TextConvertMode")}, "", [](Object& o, Args& a) {
        Self<DXFDocument>(o).SetTextConvertMode(static_cast<TextConvertMode>(a[0].ToInt32()));
        return None();
    });
    b.Add("VersionMode", kLet, 0x6803000F, {Ref("Value", "Integer")}, "", [](Object& o, Args& a) {
        Self<DXFDocument>(o).SetVersionMode(a[0].ToInt16());
        return None();
    });
    b.Add("VersionMode", kGet, 0x6803000F, {}, "Integer", [](Object& o, Args&) { return Variant(Self<DXFDocument>(o).VersionMode()); });
    b.Auto("SaveMode", kLet, {Ref("Value", "SaveMode")}, "", [](Object& o, Args& a) {
        Self<DXFDocument>(o).SetSaveMode(static_cast<SaveMode>(a[0].ToInt32()));
        return None();
    });
    b.Auto("SaveMode", kGet, {}, "SaveMode", [](Object& o, Args&) { return Variant(static_cast<int32_t>(Self<DXFDocument>(o).SaveMode())); });
    b.Auto("R12Handles", kLet, {Ref("Value", "Boolean")}, "", [](Object& o, Args& a) {
        Self<DXFDocument>(o).SetR12Handles(a[0].ToBool());
        return None();
    });
    b.Auto("R12Handles", kGet, {}, "Boolean", [](Object& o, Args&) { return Variant(Self<DXFDocument>(o).R12Handles()); });
    b.Auto("R12Tolerance", kLet, {Ref("Value", "Double")}, "", [](Object& o, Args& a) {
        Self<DXFDocument>(o).SetR12Tolerance(a[0].ToDouble());
        return None();
    });
    b.Auto("R12Tolerance", kGet, {}, "Double", [](Object& o, Args&) { return Variant(Self<DXFDocument>(o).R12Tolerance()); });
    b.Auto("Recover", kLet, {Ref("Value", "Boolean")}, "", [](Object& o, Args& a) {
        Self<DXFDocument>(o).SetRecover(a[0].ToBool());
        return None();
    });
    b.Auto("Recover", kGet, {}, "Boolean", [](Object& o, Args&) { return Variant(Self<DXFDocument>(o).Recover()); });
    // The warnings of the last load and of the last save after it, one "file:line: message" per line.
    b.Auto("Warnings", kGet, {}, "String", [](Object& o, Args&) {
        std::string text;
        for (const LoadWarning& w : Self<DXFDocument>(o).Warnings()) text += w.Text() + "\n";
        return Variant(std::move(text));
    });
    // A page by a drawing's name for it ("ANSI_1251") or by number (1251); read back as the name.
    b.Auto("CodePage", kLet, {Ref("Value", "Variant")}, "", [](Object& o, Args& a) {
        Self<DXFDocument>(o).SetCodePage(a[0].ToString());
        return None();
    });
    b.Auto("CodePage", kGet, {}, "String", [](Object& o, Args&) { return Variant(CodePageName(Self<DXFDocument>(o).CodePage())); });
    // Saves write binary DXF of the same content.
    b.Auto("Binary", kLet, {Ref("Value", "Boolean")}, "", [](Object& o, Args& a) {
        Self<DXFDocument>(o).SetBinary(a[0].ToBool());
        return None();
    });
    b.Auto("Binary", kGet, {}, "Boolean", [](Object& o, Args&) { return Variant(Self<DXFDocument>(o).Binary()); });
    // Loads keep what the typed model does not hold; Standard saves write it back.
    b.Auto("Preserve", kLet, {Ref("Value", "Boolean")}, "", [](Object& o, Args& a) {
        Self<DXFDocument>(o).SetPreserve(a[0].ToBool());
        return None();
    });
    b.Auto("Preserve", kGet, {}, "Boolean", [](Object& o, Args&) { return Variant(Self<DXFDocument>(o).Preserve()); });
    // What the last load did not keep, e.g. "3 SPLINE, 12 header variables"; empty when it kept all.
    b.Auto("NotKept", kGet, {}, "String", [](Object& o, Args&) { return Variant(Self<DXFDocument>(o).NotKept().Text()); });
    return b.get();
}

const Interface* HeaderInterface(TypeLibrary& lib) {
    Builder b(lib, "_HEADER", "{B49ECA6E-77D9-4747-9DAD-16D5ACF06FEE}");
    b.Add("AcadVer", kGet, 0x68030017, {}, "Long", [](Object& o, Args&) { return Variant(Self<HEADER>(o).AcadVer()); });
    b.Add("AcadVer", kLet, 0x68030017, {Ref("Value", "Long")}, "", [](Object& o, Args& a) {
        Self<HEADER>(o).SetAcadVer(a[0].ToInt32());
        return None();
    });
    using Getter = XYZ (HEADER::*)() const noexcept;
    using Setter = void (HEADER::*)(const XYZ&) noexcept;
    auto point = [&](const char* name, int32_t id, Getter get, Setter set) {
        b.Add(name, kGet, id, {}, "XYZ", [get](Object& o, Args&) { return Variant::FromRecord((Self<HEADER>(o).*get)()); });
        b.Add(name, kLet, id, {Ref("Value", "XYZ")}, "", [set](Object& o, Args& a) {
            (Self<HEADER>(o).*set)(VariantToRecord<XYZ>(a[0], HEADER::kClassName));
            return None();
        });
    };
    point("ExtMax", 0x68030016, &HEADER::ExtMax, &HEADER::SetExtMax);
    point("ExtMin", 0x68030015, &HEADER::ExtMin, &HEADER::SetExtMin);
    point("InsBase", 0x68030014, &HEADER::InsBase, &HEADER::SetInsBase);
    return b.get();
}

const Interface* TablesInterface(TypeLibrary& lib) {
    Builder b(lib, "_TABLES", "{02FA1320-D381-47E2-88E0-EF65F5EAFC73}");
    b.Auto("LAYERS", kGet, {}, "LAYERS", [](Object& o, Args&) { return Variant(Self<TABLES>(o).LAYERS()); });
    b.Auto("LTYPES", kGet, {}, "LTYPES", [](Object& o, Args&) { return Variant(Self<TABLES>(o).LTYPES()); });
    b.Auto("STYLES", kGet, {}, "STYLES", [](Object& o, Args&) { return Variant(Self<TABLES>(o).STYLES()); });
    return b.get();
}

const Interface* EntitiesInterface(TypeLibrary& lib) {
    Builder b(lib, "_ENTITIES", "{4D7C2741-B3CA-4202-BDF2-FDB119372E3A}");
    b.Add("ReCalcExtent", kMethod, 0x6003000F, {Out("X0", "Double"), Out("Y0", "Double"), Out("X1", "Double"), Out("Y1", "Double")}, "",
          [](Object& o, Args& a) {
              double x0 = 0, y0 = 0, x1 = 0, y1 = 0;
              Self<ENTITIES>(o).ReCalcExtent(x0, y0, x1, y1);
              a[0] = Variant(x0);
              a[1] = Variant(y0);
              a[2] = Variant(x1);
              a[3] = Variant(y1);
              return None();
          });
    // One member per kind ENTITIES holds, in section order.
    kinds::ForEachInSectionOrder([&]<Kind K>() {
        if constexpr (Holds<ENTITIES, K>) {
            const std::string name(kinds::RowOf(K).list);
            b.Add(name, kGet, kinds::RowOf(K).getter, {}, name,
                  [](Object& o, Args&) { return Variant(ListIn<K>(Self<ENTITIES>(o))); });
        }
    });
    return b.get();
}

const Interface* DebugInterface(TypeLibrary& lib) {
    Builder b(lib, "_clsDebug", "{5444BD53-BBCA-4ACD-824C-3C0014B61E24}");
    b.Add("bCallLog", kLet, 0x68030001, {Ref("Value", "Boolean")}, "", [](Object& o, Args& a) {
        Self<clsDebug>(o).bCallLog(a[0].ToBool());
        return None();
    });
    b.Add("sLogFileName", kLet, 0x68030000, {Ref("Value", "String")}, "", [](Object& o, Args& a) {
        Self<clsDebug>(o).sLogFileName(a[0].ToString());
        return None();
    });
    return b.get();
}

// The rows of the members both faces of an array list share.
struct ListMemberRow {
    const char* name;
    int32_t kind;
    std::vector<Param> params;
    std::string result;
    const char* help;
    ListCall call;
};

const std::vector<ListMemberRow>& ListMemberRows() {
    using L = IArrayList;
    static const std::vector<ListMemberRow> rows{
        {"VarType", kGet, {}, "Long", kHelpVarType, [](L& l, Args&) { return Variant(l.VarType()); }},
        {"ShrinkFactor", kLet, {Ref("Value", "Single")}, "", kHelpShrinkFactor,
         [](L& l, Args& a) {
             l.SetShrinkFactor(static_cast<float>(a[0].ToDouble()));
             return None();
         }},
        {"ShrinkFactor", kGet, {}, "Single", kHelpShrinkFactor, [](L& l, Args&) { return Variant(l.ShrinkFactor()); }},
        {"LowerBound", kGet, {}, "Long", kHelpLowerBound, [](L& l, Args&) { return Variant(l.LowerBound()); }},
        {"UpperBound", kGet, {}, "Long", kHelpUpperBound, [](L& l, Args&) { return Variant(l.UpperBound()); }},
        {"GrowLength", kLet, {Ref("Value", "Long")}, "", kHelpGrowLength,
         [](L& l, Args& a) {
             l.SetGrowLength(a[0].ToInt32());
             return None();
         }},
        {"GrowLength", kGet, {}, "Long", kHelpGrowLength, [](L& l, Args&) { return Variant(l.GrowLength()); }},
        {"Shrink", kMethod, {Ref("DestroyCache", "Long")}, "", kHelpShrink,
         [](L& l, Args& a) {
             l.Shrink(a[0].ToInt32());
             return None();
         }},
        {"EraseArray", kMethod, {}, "", kHelpEraseArray,
         [](L& l, Args&) {
             l.EraseArray();
             return None();
         }},
        {"SetCount", kMethod, {Ref("Count", "Long"), Ref("PreserveValues", "Boolean")}, "", kHelpSetCount,
         [](L& l, Args& a) {
             l.SetCount(a[0].ToInt32(), a[1].ToBool());
             return None();
         }},
        {"Count", kGet, {}, "Long", kHelpCount, [](L& l, Args&) { return Variant(l.Count()); }},
        {"AddItem", kMethod, {Ref("Value", "R")}, "", kHelpAddItem,
         [](L& l, Args& a) {
             l.AddItem(a[0]);
             return None();
         }},
        {"RemoveItem", kMethod, {Ref("Index", "Long"), Ref("KeepSequence", "Boolean")}, "", kHelpRemoveItem,
         [](L& l, Args& a) {
             l.RemoveItem(a[0].ToInt32(), a[1].ToBool());
             return None();
         }},
        {"Item", kLet, {Ref("Index", "Long"), Ref("Value", "R")}, "", kHelpItem,
         [](L& l, Args& a) {
             l.LetItem(a[0].ToInt32(), a[1]);
             return None();
         }},
        {"Item", kGet, {Ref("Index", "Long")}, "R", kHelpItem, [](L& l, Args& a) { return l.Item(a[0].ToInt32()); }},
        {"Find", kMethod, {Ref("Value", "R"), Out("retIndex", "Long")}, "Boolean", kHelpFind,
         [](L& l, Args& a) {
             int32_t index = a[1].ToInt32();
             const bool found = l.Find(a[0], index);
             if (found) a[1] = Variant(index);
             return Variant(found);
         }},
        {"Copy", kMethod, {Opt("m", "Variant"), Opt("n", "Variant")}, "IArrayList", nullptr,
         [](L& l, Args& a) { return Variant(l.Copy(a[0], a[1])); }},
    };
    return rows;
}

Variant ViaArrayList(Object& self, Args& args, ListCall call) { return call(Self<IArrayList>(self), args); }

const Interface* ArrayListInterface(TypeLibrary& lib) {
    Builder b(lib, "_IArrayList", "{72442825-B37F-40F9-8A11-B577A06BC0F6}");
    using L = IArrayList;
    b.Auto("SetArray", kMethod, {Ref("Value", "Variant")}, "", [](Object& o, Args& a) {
        Self<L>(o).SetArray(a[0]);
        return None();
    });
    b.Auto("GetArray", kMethod, {}, "Variant", [](Object& o, Args&) { return Self<L>(o).GetArray(); });
    static constexpr SharedMember kShared[] = {
        {"Copy", kMethod},       {"ShrinkFactor", kLet}, {"ShrinkFactor", kGet}, {"LowerBound", kGet}, {"UpperBound", kGet},
        {"GrowLength", kLet},    {"GrowLength", kGet},   {"Shrink", kMethod},    {"EraseArray", kMethod}, {"SetCount", kMethod},
        {"Count", kGet},         {"AddItem", kMethod},   {"RemoveItem", kMethod}, {"Item", kLet}};
    for (const SharedMember& m : kShared) AddListMember(b, m, "Variant", &ViaArrayList);
    // Storing by reference: only this face has it.
    b.Auto("Item", kSet, {Ref("Index", "Long"), Ref("Value", "Variant")}, "",
           [](Object& o, Args& a) {
               Self<L>(o).SetItem(a[0].ToInt32(), a[1]);
               return None();
           },
           kHelpItem);
    for (const SharedMember& m : {SharedMember{"Item", kGet}, SharedMember{"Find", kMethod}, SharedMember{"VarType", kGet}})
        AddListMember(b, m, "Variant", &ViaArrayList);
    b.Auto("CreateNew", kMethod, {}, "IArrayList", [](Object& o, Args&) { return Variant(Self<L>(o).CreateNew()); });
    b.Auto("Sort", kMethod, {Opt("m", "Long"), Opt("n", "Long"), Opt("Comparer", "IComparer")}, "",
           [](Object& o, Args& a) {
               Self<L>(o).Sort(a[0].ToInt32(), a[1].ToInt32(), ToComparer(a[2]));
               return None();
           },
           kHelpSort);
    return b.get();
}

const Interface* ComparerInterface(TypeLibrary& lib) {
    Builder b(lib, "_IComparer", "{53CCE7F1-97B7-4CD9-9BC7-90077B742BF4}");
    b.Auto("Compare", kMethod, {Ref("a", "Variant"), Ref("b", "Variant")}, "Integer",
           [](Object& o, Args& a) { return Variant(Self<IComparer>(o).Compare(a[0], a[1])); });
    return b.get();
}

const Interface* EventInterface(TypeLibrary& lib) {
    Builder b(lib, "__DXFDocument", "{951DBB8A-6B03-4C40-8E5F-BD2FD1A49129}");
    b.get()->isSource = true;
    // Raised by the document, not called on it.
    b.Add("Progress", kMethod, 1, {Out("Percent", "Long")}, "", nullptr);
    return b.get();
}

std::unique_ptr<TypeLibrary> Build() {
    auto lib = std::make_unique<TypeLibrary>();
    TypeLibrary& l = *lib;
    l.name = "Ormavec";
    l.major = 7;
    l.minor = 2;
    l.libid = G("{3A6C0766-157B-4090-A3E4-C890402F0A86}");

    const Interface* document = DocumentInterface(l);
    const Interface* events = EventInterface(l);
    ClassInfo doc = PlainClass("DXFDocument", document, "{FDAD9AB1-0685-4ADA-AB7C-FC09134C81EE}", [] { return std::make_shared<DXFDocument>(); });
    doc.sourceInterface = events;
    l.classes.push_back(std::move(doc));
    l.classes.push_back(PlainClass("HEADER", HeaderInterface(l), "{14F44355-3FAA-4764-B66D-E944766618F5}",
                                   [] { return std::make_shared<HEADER>(); }));
    l.classes.push_back(PlainClass("TABLES", TablesInterface(l), "{02DBA129-E570-47FA-BE74-833B0057321C}",
                                   [] { return std::make_shared<TABLES>(); }));
    l.classes.push_back(PlainClass("ENTITIES", EntitiesInterface(l), "{0CD963C2-B647-43EA-BC72-2D4C35661946}",
                                   [] { return std::make_shared<ENTITIES>(); }));

    AddCollectionClasses(l);

    l.classes.push_back(PlainClass("IArrayList", ArrayListInterface(l), "{B5682404-B875-4FE5-9172-1C2C27F16A6F}",
                                   [] { return std::make_shared<NullArrayList>(); }));
    l.classes.push_back(PlainClass("IComparer", ComparerInterface(l), "{56348C54-1AA0-41FF-9FC6-850FC26AE62C}",
                                   [] { return std::make_shared<NullComparer>(); }));
    l.classes.push_back(PlainClass("Types", Builder(l, "_Types", "{AE81637D-54A7-40E1-97C0-83F8A4972E1A}").get(),
                                   "{425FEFB5-BAFA-4B42-B08E-9C17884215B5}", [] { return std::make_shared<EmptyObject>("Types"); }));
    l.classes.push_back(PlainClass("DXFWriter", Builder(l, "_DXFWriter", "{683871CE-B858-4492-8CC9-F7569BEA9677}").get(),
                                   "{24D42557-04F2-4EAC-AFCF-5CF838D2C249}", [] { return std::make_shared<EmptyObject>("DXFWriter"); }));
    l.classes.push_back(PlainClass("clsDebug", DebugInterface(l), "{39514D20-4538-4C88-9AAD-B0279D5132C3}",
                                   [] { return std::make_shared<clsDebug>(); }));
    for (ClassInfo& c : l.classes) c.progid = "Ormavec." + c.name;

    AddRecordTypes(l);
    l.enums.push_back({"TextConvertMode", {{"None", 0}, {"FromUTF8", 1}, {"Utf8", 2}, {"Auto", 3}}});
    l.enums.push_back({"SaveMode", {{"Classic", 0}, {"Standard", 1}, {"R12", 2}}});
    return lib;
}

}  // namespace

bool SameGuid(const Guid& a, const Guid& b) noexcept {
    return a.data1 == b.data1 && a.data2 == b.data2 && a.data3 == b.data3 && std::equal(a.data4, a.data4 + 8, b.data4);
}

std::optional<Guid> ParseGuid(std::string_view t) noexcept {
    if (t.size() == 38 && t.front() == '{' && t.back() == '}') t = t.substr(1, 36);
    if (t.size() != 36 || t[8] != '-' || t[13] != '-' || t[18] != '-' || t[23] != '-') return std::nullopt;
    uint8_t bytes[16];
    std::size_t pos = 0;
    for (int i = 0; i < 16; ++i) {
        if (pos == 8 || pos == 13 || pos == 18 || pos == 23) ++pos;
        uint8_t byte = 0;
        for (int k = 0; k < 2; ++k) {
            const char c = t[pos++];
            int d;
            if (c >= '0' && c <= '9') d = c - '0';
            else if (c >= 'a' && c <= 'f') d = c - 'a' + 10;
            else if (c >= 'A' && c <= 'F') d = c - 'A' + 10;
            else return std::nullopt;
            byte = static_cast<uint8_t>(byte * 16 + d);
        }
        bytes[i] = byte;
    }
    Guid g{};
    g.data1 = (uint32_t{bytes[0]} << 24) | (uint32_t{bytes[1]} << 16) | (uint32_t{bytes[2]} << 8) | bytes[3];
    g.data2 = static_cast<uint16_t>((bytes[4] << 8) | bytes[5]);
    g.data3 = static_cast<uint16_t>((bytes[6] << 8) | bytes[7]);
    std::copy(bytes + 8, bytes + 16, g.data4);
    return g;
}

std::string FormatGuid(const Guid& g) {
    char buf[40];
    std::snprintf(buf, sizeof buf, "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", static_cast<unsigned>(g.data1),
                  static_cast<unsigned>(g.data2), static_cast<unsigned>(g.data3), g.data4[0], g.data4[1], g.data4[2], g.data4[3],
                  g.data4[4], g.data4[5], g.data4[6], g.data4[7]);
    return buf;
}

Guid G(std::string_view text) {
    auto g = ParseGuid(text);
    if (!g) RaiseError(ErrInvalidOperation, "TypeLibrary", "Bad identifier in the type library");
    return *g;
}

int32_t Interface::IdOfName(std::string_view name) const noexcept {
    for (const Member& m : members)
        if (EqualsNoCase(m.name, name)) return m.dispid;
    return ORMAVEC_DISPID_UNKNOWN;
}

const Member* Interface::Find(int32_t dispid, int32_t kind) const noexcept {
    for (const Member& m : members)
        if (m.dispid == dispid && (m.kind & kind) != 0) return &m;
    return nullptr;
}

bool Interface::HasDispid(int32_t dispid) const noexcept {
    return std::any_of(members.begin(), members.end(), [&](const Member& m) { return m.dispid == dispid; });
}

const ClassInfo* TypeLibrary::ClassByName(std::string_view n) const noexcept {
    for (const ClassInfo& c : classes)
        if (c.name == n) return &c;
    return nullptr;
}

const ClassInfo* TypeLibrary::ClassByClsid(const Guid& clsid) const noexcept {
    for (const ClassInfo& c : classes)
        if (SameGuid(c.clsid, clsid)) return &c;
    return nullptr;
}

const ClassInfo* TypeLibrary::ClassByProgID(std::string_view progid) const noexcept {
    // The versioned form "Ormavec.LINES.7" names the same class.
    const std::string_view versioned = ".7";
    if (progid.size() > versioned.size() && progid.substr(progid.size() - versioned.size()) == versioned)
        progid.remove_suffix(versioned.size());
    for (const ClassInfo& c : classes)
        if (EqualsNoCase(c.progid, progid)) return &c;
    return nullptr;
}

const Interface* TypeLibrary::InterfaceByName(std::string_view n) const noexcept {
    for (const auto& i : interfaces)
        if (EqualsNoCase(i->name, n)) return i.get();
    return nullptr;
}

const Interface* TypeLibrary::InterfaceByIid(const Guid& iid) const noexcept {
    for (const auto& i : interfaces)
        if (SameGuid(i->iid, iid)) return i.get();
    return nullptr;
}

const RecordInfo* TypeLibrary::RecordByName(std::string_view n) const noexcept {
    for (const RecordInfo& r : records)
        if (EqualsNoCase(r.name, n)) return &r;
    return nullptr;
}

void build::AddListMember(Builder& b, const SharedMember& member, std::string_view element, ListFace face) {
    for (const ListMemberRow& row : ListMemberRows()) {
        if (row.kind != member.kind || std::string_view(row.name) != member.name) continue;
        std::vector<Param> params = row.params;
        for (Param& p : params)
            if (p.type == "R") p.type = element;
        const ListCall call = row.call;
        b.Auto(row.name, row.kind, std::move(params), row.result == "R" ? std::string(element) : row.result,
               [face, call](Object& o, Args& a) { return face(o, a, call); }, row.help ? row.help : "");
        return;
    }
}

const TypeLibrary& Library() {
    static const std::unique_ptr<TypeLibrary> lib = Build();
    return *lib;
}

}  // namespace ormavec::automation
