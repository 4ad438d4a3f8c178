// The automation layer through its C entry points: the type library's
// identifiers and member tables, late-bound calls, errors, the class
// factory, events and self-registration.
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "automation/ormavec_automation.h"
#include "test_support.h"

namespace {

namespace fs = std::filesystem;
using ormavec::test::ReadFile;

constexpr int32_t kGet = ORMAVEC_DISPATCH_PROPERTYGET, kLet = ORMAVEC_DISPATCH_PROPERTYPUT, kMethod = ORMAVEC_DISPATCH_METHOD;

struct Var {
    ormavec_variant v;
    Var() { ormavec_variant_init(&v); }
    ~Var() { ormavec_variant_clear(&v); }
    Var(const Var&) = delete;
    Var& operator=(const Var&) = delete;
};

// Arguments of one call, released with the list.
struct Args {
    std::vector<ormavec_variant> v;
    ~Args() {
        for (auto& x : v) ormavec_variant_clear(&x);
    }
    ormavec_variant& add() {
        v.emplace_back();
        ormavec_variant_init(&v.back());
        return v.back();
    }
    Args& i4(int32_t x) {
        auto& a = add();
        a.vt = ORMAVEC_VT_I4;
        a.u.lVal = x;
        return *this;
    }
    Args& r8(double x) {
        auto& a = add();
        a.vt = ORMAVEC_VT_R8;
        a.u.dblVal = x;
        return *this;
    }
    Args& str(const char* s) {
        ormavec_variant_set_string(&add(), s);
        return *this;
    }
    Args& copy(const ormavec_variant& x) {
        ormavec_variant_copy(&add(), &x);
        return *this;
    }
    Args& empty() {
        add();
        return *this;
    }
};

struct Obj {
    ormavec_object* p = nullptr;
    Obj() = default;
    explicit Obj(ormavec_object* o) : p(o) {}
    ~Obj() { ormavec_release(p); }
    Obj(Obj&& o) noexcept : p(o.p) { o.p = nullptr; }
    Obj(const Obj&) = delete;
    Obj& operator=(const Obj&) = delete;
};

Obj Create(const char* progid) {
    ormavec_object* o = nullptr;
    EXPECT_EQ(ORMAVEC_S_OK, ormavec_create_object(progid, &o)) << progid;
    return Obj(o);
}

int32_t Id(ormavec_object* o, const char* name) {
    int32_t id = ORMAVEC_DISPID_UNKNOWN;
    EXPECT_EQ(ORMAVEC_S_OK, ormavec_get_ids_of_names(o, &name, 1, &id)) << name;
    return id;
}

int32_t Call(ormavec_object* o, const char* name, int32_t kind, Args& args, ormavec_variant* result = nullptr) {
    return ormavec_invoke(o, Id(o, name), kind, args.v.data(), static_cast<int32_t>(args.v.size()), result);
}
int32_t Call(ormavec_object* o, const char* name, int32_t kind, ormavec_variant* result = nullptr) {
    Args none;
    return Call(o, name, kind, none, result);
}

// The object a property returns.
Obj GetObject(ormavec_object* o, const char* name) {
    Var r;
    EXPECT_EQ(ORMAVEC_S_OK, Call(o, name, kGet, &r.v)) << name;
    EXPECT_EQ(ORMAVEC_VT_DISPATCH, r.v.vt) << name;
    Obj out(r.v.u.objVal);
    r.v.vt = ORMAVEC_VT_EMPTY;  // the reference moves to out
    return out;
}

int32_t GetInt(ormavec_object* o, const char* name) {
    Var r;
    EXPECT_EQ(ORMAVEC_S_OK, Call(o, name, kGet, &r.v)) << name;
    return r.v.u.lVal;
}

ormavec_error_info LastError() {
    ormavec_error_info e{};
    ormavec_get_last_error(&e);
    return e;
}

ormavec_guid Guid(const char* text) {
    ormavec_guid g{};
    EXPECT_EQ(ORMAVEC_S_OK, ormavec_guid_from_string(text, &g)) << text;
    return g;
}
std::string Text(const ormavec_guid& g) {
    char buf[39];
    ormavec_guid_to_string(&g, buf);
    return buf;
}

void LineRecord(Var& rec, double x0, double y0, double x1, double y1) {
    ASSERT_EQ(ORMAVEC_S_OK, ormavec_record_new("LINE_ENT", &rec.v));
    const char* names[] = {"StartX", "starty", "ENDX", "EndY"};
    const double values[] = {x0, y0, x1, y1};
    for (int i = 0; i < 4; ++i) {
        ormavec_variant d;
        ormavec_variant_init(&d);
        d.vt = ORMAVEC_VT_R8;
        d.u.dblVal = values[i];
        ASSERT_EQ(ORMAVEC_S_OK, ormavec_record_put(&rec.v, names[i], &d));
    }
}

double Field(const ormavec_variant& rec, const char* name) {
    Var f;
    EXPECT_EQ(ORMAVEC_S_OK, ormavec_record_get(&rec, name, &f.v));
    return f.v.vt == ORMAVEC_VT_R8 ? f.v.u.dblVal : -1e300;
}

// A drawing with n lines from (i, 0) to (i, 1) and nothing else.
std::string WriteLines(const fs::path& path, int n) {
    std::string text = "0\nSECTION\n2\nENTITIES\n";
    for (int i = 0; i < n; ++i) text += "0\nLINE\n8\n0\n10\n" + std::to_string(i) + "\n20\n0\n11\n" + std::to_string(i) + "\n21\n1\n";
    text += "0\nENDSEC\n0\nEOF\n";
    // CR LF, as the reader counts two characters per line end.
    std::string crlf;
    for (char c : text) crlf += c == '\n' ? std::string("\r\n") : std::string(1, c);
    std::ofstream(path, std::ios::binary) << crlf;
    return path.string();
}

fs::path TempDir(const char* name) {
    fs::path dir = fs::temp_directory_path() / ("ormavec_automation_" + std::string(name) + "_" + std::to_string(::getpid()));
    fs::create_directories(dir);
    return dir;
}

struct ClassRow {
    const char* name;
    const char* clsid;
    const char* iid;
};
const ClassRow kClasses[] = {
    {"DXFDocument", "{FDAD9AB1-0685-4ADA-AB7C-FC09134C81EE}", "{30D231CF-3033-48E3-8A71-10A00A89431A}"},
    {"HEADER", "{14F44355-3FAA-4764-B66D-E944766618F5}", "{B49ECA6E-77D9-4747-9DAD-16D5ACF06FEE}"},
    {"TABLES", "{02DBA129-E570-47FA-BE74-833B0057321C}", "{02FA1320-D381-47E2-88E0-EF65F5EAFC73}"},
    {"ENTITIES", "{0CD963C2-B647-43EA-BC72-2D4C35661946}", "{4D7C2741-B3CA-4202-BDF2-FDB119372E3A}"},
    {"BLOCKS", "{7B25AA0C-10B0-4731-B67F-7F6B1E782C5D}", "{62CA98E4-2A47-4D83-A138-307E12F21FBB}"},
    {"LAYERS", "{B810C344-060E-46F7-88D8-5EF8992C652A}", "{1DBBDC01-E2F1-4DA8-83D0-D2E1DB16D72D}"},
    {"LTYPES", "{58182DC8-B78B-4824-A5AB-908D4060FE4A}", "{2206C24C-0A15-49DC-A04A-F13E1E67C67F}"},
    {"STYLES", "{44BF9143-9480-45DA-91E1-6A71BC1F3E3E}", "{3AF8F381-8730-4865-AEC9-AB64F8A163A3}"},
    {"ARCS", "{DCF0657E-1A5E-4E9E-8EA1-EDC3C6BF1A9C}", "{F304C0CF-05FB-4088-8632-E1C8005D1DA9}"},
    {"CIRCLES", "{2A2C51E6-C735-481D-AF21-E31896ED7C03}", "{6CB7AFA6-6CF4-4092-AFF6-D9B1328C6A37}"},
    {"ELLIPSES", "{E6D2ACCE-9C21-464B-A2A8-F2E639953C41}", "{0BAB20B0-D956-4C4C-B149-BEC9022A244F}"},
    {"FACE3DS", "{495A7F21-8780-4EB6-9080-00A988DA2BC1}", "{16BCF46F-382D-4907-B9AF-E256EA8E5CA7}"},
    {"INSERTS", "{E83568E7-5219-427F-856A-B06CA2F1255D}", "{B9FB4F47-E20B-43DA-BA6C-263CCCED9E79}"},
    {"LINES", "{B72C8019-5507-40D4-8EEC-637869A072CC}", "{86CE3558-C364-4B54-876E-DD90D9441A3F}"},
    {"LWPOLYLINES", "{12EEC826-21CC-418D-9183-CC348B66EEE2}", "{A491D259-0A2C-4285-BAFE-AD503DC2C04D}"},
    {"MTEXTS", "{9B6FBE9A-149D-468E-800D-87C81E634EC6}", "{F34E7CD5-17A2-459A-B11A-EF8DB44EC211}"},
    {"POLYLINES", "{230A9156-94CD-4286-B9EA-F1E44EA5EE0F}", "{8E1A5A8C-7359-4957-8BDE-DA9FE9723F7C}"},
    {"POINTS", "{3DB8AED2-9F16-4FA8-97D3-0BE6EE6FCF4D}", "{E6C30BBA-E019-4B75-80C5-B00F29EB38D8}"},
    {"TEXTS", "{09854016-CBD4-46E9-A757-A1F5EC8155E5}", "{922130A7-BA41-4611-A605-9CCA652C81F9}"},
    {"SOLIDS", "{E28AD99D-DB1E-4D7D-A338-5DAA59424D16}", "{2791D7C3-34EB-4270-A209-1F37C645F91F}"},
    {"ATTDEFS", "{55344A97-C488-40BA-A56B-AEC903A00986}", "{69891E35-E1AD-4600-9A9B-AA55CC4E57C1}"},
    {"ATTRIBS", "{439BB43B-E65E-4D7B-A1BF-1CB83CC19596}", "{875FCD1B-2D9F-40DE-8B89-4582FEE2B6DF}"},
    {"HATCHES", "{697B1305-E269-48DA-94D9-522BEBB75AD6}", "{6406CDD7-6E25-4B53-AC13-A4ABA52CFE16}"},
    {"IArrayList", "{B5682404-B875-4FE5-9172-1C2C27F16A6F}", "{72442825-B37F-40F9-8A11-B577A06BC0F6}"},
    {"IComparer", "{56348C54-1AA0-41FF-9FC6-850FC26AE62C}", "{53CCE7F1-97B7-4CD9-9BC7-90077B742BF4}"},
    {"Types", "{425FEFB5-BAFA-4B42-B08E-9C17884215B5}", "{AE81637D-54A7-40E1-97C0-83F8A4972E1A}"},
    {"DXFWriter", "{24D42557-04F2-4EAC-AFCF-5CF838D2C249}", "{683871CE-B858-4492-8CC9-F7569BEA9677}"},
    {"clsDebug", "{39514D20-4538-4C88-9AAD-B0279D5132C3}", "{5444BD53-BBCA-4ACD-824C-3C0014B61E24}"},
};

struct IdRow {
    const char* iface;
    const char* member;
    int32_t kind;
    uint32_t dispid;
};
const IdRow kFixedIds[] = {
    {"_DXFDocument", "HEADER", kGet, 0x68030004},      {"_DXFDocument", "ENTITIES", kGet, 0x68030003},
    {"_DXFDocument", "BLOCKS", kGet, 0x68030002},      {"_DXFDocument", "TABLES", kGet, 0x68030001},
    {"_DXFDocument", "FileName", kGet, 0x68030000},    {"_DXFDocument", "Load", kMethod, 0x60030007},
    {"_DXFDocument", "Save", kMethod, 0x6003000B},     {"_DXFDocument", "ExplodePolyLines", kMethod, 0x6003000C},
    {"_DXFDocument", "ExplodeLWPolyLines", kMethod, 0x6003000D}, {"_DXFDocument", "TextConvertMode", kLet, 0x6803000E},
    {"_DXFDocument", "VersionMode", kLet, 0x6803000F}, {"_DXFDocument", "VersionMode", kGet, 0x6803000F},
    {"_DXFDocument", "SaveMode", kLet, 0x6803000B},    {"_DXFDocument", "SaveMode", kGet, 0x6803000B},
    {"__DXFDocument", "Progress", kMethod, 1},
    {"_HEADER", "AcadVer", kGet, 0x68030017},          {"_HEADER", "AcadVer", kLet, 0x68030017},
    {"_HEADER", "ExtMax", kGet, 0x68030016},           {"_HEADER", "ExtMax", kLet, 0x68030016},
    {"_HEADER", "ExtMin", kGet, 0x68030015},           {"_HEADER", "ExtMin", kLet, 0x68030015},
    {"_HEADER", "InsBase", kGet, 0x68030014},          {"_HEADER", "InsBase", kLet, 0x68030014},
    {"_ENTITIES", "ReCalcExtent", kMethod, 0x6003000F}, {"_ENTITIES", "ARCS", kGet, 0x6803000D},
    {"_ENTITIES", "CIRCLES", kGet, 0x6803000C},        {"_ENTITIES", "ELLIPSES", kGet, 0x6803000B},
    {"_ENTITIES", "FACE3DS", kGet, 0x6803000A},        {"_ENTITIES", "INSERTS", kGet, 0x68030009},
    {"_ENTITIES", "LINES", kGet, 0x68030008},          {"_ENTITIES", "LWPOLYLINES", kGet, 0x68030007},
    {"_ENTITIES", "MTEXTS", kGet, 0x68030006},         {"_ENTITIES", "POLYLINES", kGet, 0x68030005},
    {"_ENTITIES", "POINTS", kGet, 0x68030004},         {"_ENTITIES", "TEXTS", kGet, 0x68030003},
    {"_ENTITIES", "SOLIDS", kGet, 0x68030002},         {"_ENTITIES", "ATTDEFS", kGet, 0x68030001},
    {"_ENTITIES", "ATTRIBS", kGet, 0x68030000},        {"_clsDebug", "bCallLog", kLet, 0x68030001},
    {"_clsDebug", "sLogFileName", kLet, 0x68030000},
};

int32_t InterfaceIndex(const char* name) {
    int32_t index = -1;
    EXPECT_EQ(ORMAVEC_S_OK, ormavec_typelib_find_interface(name, &index)) << name;
    return index;
}

// The members of an interface in order.
std::vector<ormavec_member_info> Members(const char* iface) {
    const int32_t i = InterfaceIndex(iface);
    ormavec_interface_info info{};
    ormavec_typelib_interface(i, &info);
    std::vector<ormavec_member_info> out(static_cast<std::size_t>(info.member_count));
    for (int32_t m = 0; m < info.member_count; ++m) ormavec_typelib_member(i, m, &out[static_cast<std::size_t>(m)]);
    return out;
}

TEST(AutomationTypeLibrary, ClassTableMatchesTheMetadataAndTheProgIDs) {
    ormavec_typelib_info lib{};
    ormavec_typelib_get_info(&lib);
    EXPECT_STREQ("Ormavec", lib.name);
    EXPECT_EQ(7, lib.major);
    EXPECT_EQ(2, lib.minor);
    EXPECT_EQ("{3A6C0766-157B-4090-A3E4-C890402F0A86}", Text(lib.libid));
    ASSERT_EQ(static_cast<int32_t>(std::size(kClasses)), lib.class_count);
    for (int32_t i = 0; i < lib.class_count; ++i) {
        const ClassRow& row = kClasses[i];
        ormavec_class_info c{};
        ASSERT_EQ(ORMAVEC_S_OK, ormavec_typelib_class(i, &c));
        EXPECT_STREQ(row.name, c.name);
        EXPECT_EQ(row.clsid, Text(c.clsid)) << row.name;
        EXPECT_EQ(row.iid, Text(c.iid)) << row.name;
        EXPECT_EQ("_" + std::string(row.name), c.default_interface);
        EXPECT_EQ("Ormavec." + std::string(row.name), c.progid);
        EXPECT_EQ(1, c.creatable);
        ormavec_guid byProgID{}, versioned{};
        EXPECT_EQ(ORMAVEC_S_OK, ormavec_clsid_from_progid(c.progid, &byProgID));
        EXPECT_EQ(ORMAVEC_S_OK, ormavec_clsid_from_progid((std::string(c.progid) + ".7").c_str(), &versioned));
        EXPECT_EQ(row.clsid, Text(byProgID));
        EXPECT_EQ(row.clsid, Text(versioned));
        if (std::string(row.name) == "DXFDocument") {
            ASSERT_NE(nullptr, c.source_interface);
            EXPECT_STREQ("__DXFDocument", c.source_interface);
            ormavec_interface_info ev{};
            ormavec_typelib_interface(InterfaceIndex("__DXFDocument"), &ev);
            EXPECT_EQ("{951DBB8A-6B03-4C40-8E5F-BD2FD1A49129}", Text(ev.iid));
            EXPECT_EQ(1, ev.is_source);
        } else {
            EXPECT_EQ(nullptr, c.source_interface) << row.name;
        }
    }
    ormavec_guid g{};
    EXPECT_EQ(ORMAVEC_CO_E_CLASSSTRING, ormavec_clsid_from_progid("Ormavec.DXFReader", &g));
    ormavec_class_info c{};
    EXPECT_EQ(ORMAVEC_DISP_E_BADINDEX, ormavec_typelib_class(lib.class_count, &c));
}

TEST(AutomationTypeLibrary, FixedDispatchIdsAreInTheInterfaces) {
    for (const IdRow& row : kFixedIds) {
        bool found = false;
        for (const auto& m : Members(row.iface))
            if (std::string(m.name) == row.member && m.kind == row.kind) {
                EXPECT_EQ(static_cast<int32_t>(row.dispid), m.dispid) << row.iface << "." << row.member;
                found = true;
            }
        EXPECT_TRUE(found) << row.iface << "." << row.member;
    }
    // FileName has no setter and TextConvertMode no getter.
    for (const auto& m : Members("_DXFDocument")) {
        EXPECT_FALSE(std::string(m.name) == "FileName" && m.kind != kGet);
        EXPECT_FALSE(std::string(m.name) == "TextConvertMode" && m.kind != kLet);
    }
}

TEST(AutomationTypeLibrary, IArrayListMembersInOrderWithTheirHelpTexts) {
    const std::vector<std::pair<std::string, int32_t>> order = {
        {"SetArray", kMethod}, {"GetArray", kMethod},   {"Copy", kMethod},     {"ShrinkFactor", kLet}, {"ShrinkFactor", kGet},
        {"LowerBound", kGet},  {"UpperBound", kGet},    {"GrowLength", kLet},  {"GrowLength", kGet},   {"Shrink", kMethod},
        {"EraseArray", kMethod}, {"SetCount", kMethod}, {"Count", kGet},       {"AddItem", kMethod},   {"RemoveItem", kMethod},
        {"Item", kLet},        {"Item", ORMAVEC_DISPATCH_PROPERTYPUTREF},       {"Item", kGet},         {"Find", kMethod},
        {"VarType", kGet},     {"CreateNew", kMethod},  {"Sort", kMethod}};
    const auto members = Members("_IArrayList");
    ASSERT_EQ(order.size(), members.size());
    std::map<std::string, std::string> help;
    for (std::size_t i = 0; i < order.size(); ++i) {
        EXPECT_EQ(order[i].first, members[i].name) << i;
        EXPECT_EQ(order[i].second, members[i].kind) << i;
        help[members[i].name] = members[i].help;
    }
    EXPECT_EQ(ORMAVEC_DISPID_VALUE, members[17].dispid);
    EXPECT_EQ("The lower bound of the array, this is the frist index.If count = 0 the lower bound is 0.", help["LowerBound"]);
    EXPECT_EQ("The index of the last element.If Count = 0 the return value is -1.", help["UpperBound"]);
    EXPECT_EQ("The length of the cache.", help["GrowLength"]);
    EXPECT_EQ("Returns a count of elements.", help["Count"]);
    EXPECT_EQ("Adds an item to the end of the array.", help["AddItem"]);
    EXPECT_EQ("Erases the array.", help["EraseArray"]);
    EXPECT_EQ("Sets, returns the item by the given index.", help["Item"]);
    EXPECT_EQ("Finds the first occurence of the given value, in case of success returns true. ", help["Find"]);
    EXPECT_EQ("The type of the elements.", help["VarType"]);
    EXPECT_EQ("Sort the list.optional [m..n] sort interval, optional Comparer is an user defined compare method.", help["Sort"]);
    EXPECT_EQ("Set the size of the array.Set PreserveValues to true to enforce preserve values  .", help["SetCount"]);
    for (const char* m : {"RemoveItem", "Shrink", "ShrinkFactor"})
        EXPECT_NE(std::string::npos, help[m].find("Memory usage = Count + (GrowLength * ShrinkFactor)")) << m;
    EXPECT_NE(std::string::npos, help["ShrinkFactor"].find("Value must be greater than 1."));
    EXPECT_NE(std::string::npos, help["RemoveItem"].find("the last item will be moved to the index of the deleted item"));
    EXPECT_NE(std::string::npos, help["Shrink"].find("DestroyCache"));

    const auto cmp = Members("_IComparer");
    ASSERT_EQ(1u, cmp.size());
    EXPECT_STREQ("Compare", cmp[0].name);
    EXPECT_STREQ("Integer", cmp[0].result_type);
}

TEST(AutomationTypeLibrary, AssignedIdsFollowOneRuleOnEveryCollection) {
    // The same member name has the same id on every collection interface.
    const std::vector<std::pair<const char*, uint32_t>> ids = {
        {"Sort", 0x60030001},  {"SetArray", 0x60030002}, {"GetArray", 0x60030003}, {"VarType", 0x68030004},
        {"GrowLength", 0x68030008}, {"Count", 0x6803000C}, {"AddItem", 0x6003000D}, {"Item", 0},
        {"Find", 0x60030010},  {"Copy", 0x60030011},     {"Add", 0x60030012},      {"Delete", 0x60030013}};
    for (const ClassRow& row : kClasses) {
        const std::string iface = "_" + std::string(row.name);
        const auto members = Members(iface.c_str());
        if (members.empty() || std::string(members[0].name).rfind("To", 0) != 0) continue;
        EXPECT_EQ(0x60030000, members[0].dispid) << iface;
        for (const auto& [name, id] : ids) {
            bool seen = false;
            for (const auto& m : members)
                if (std::string(m.name) == name) {
                    EXPECT_EQ(static_cast<int32_t>(id), m.dispid) << iface << "." << name;
                    seen = true;
                }
            EXPECT_TRUE(seen) << iface << "." << name;
        }
    }
    EXPECT_STREQ("ToLTYPES", Members("_LTYPES")[0].name);
    EXPECT_STREQ("ToLINE_ENT", Members("_LINES")[0].name);
    const auto layers = Members("_LAYERS");
    EXPECT_STREQ("Clear", layers.back().name);
    EXPECT_STREQ("CreateEntityArrays", Members("_BLOCKS").back().name);
    EXPECT_EQ(0x68030001, Members("_TABLES")[1].dispid);
    // A live object answers the same ids by name.
    Obj lines = Create("Ormavec.LINES");
    EXPECT_EQ(0x6803000C, Id(lines.p, "count"));
    EXPECT_EQ(0, Id(lines.p, "ITEM"));
}

TEST(AutomationTypeLibrary, RecordsAndTheEnum) {
    ormavec_typelib_info lib{};
    ormavec_typelib_get_info(&lib);
    std::map<std::string, std::vector<std::string>> records;
    for (int32_t r = 0; r < lib.record_count; ++r) {
        ormavec_record_info info{};
        ormavec_typelib_record(r, &info);
        for (int32_t f = 0; f < info.field_count; ++f) {
            ormavec_field_info field{};
            ormavec_typelib_field(r, f, &field);
            records[info.name].push_back(std::string(field.name) + ":" + field.type);
        }
    }
    EXPECT_EQ((std::vector<std::string>{"Layer:String", "LineType:String", "ColorNumber:Long", "Thickness:Double", "StartX:Double",
                                        "StartY:Double", "StartZ:Double", "EndX:Double", "EndY:Double", "EndZ:Double"}),
              records["LINE_ENT"]);
    EXPECT_EQ((std::vector<std::string>{"X:Double", "Y:Double", "Z:Double"}), records["XYZ"]);
    const auto& block = records["BLOCK_BLOCK"];
    EXPECT_NE(block.end(), std::find(block.begin(), block.end(), "LINES:LINES"));
    const auto& poly = records["POLYLINE_ENT"];
    EXPECT_NE(poly.end(), std::find(poly.begin(), poly.end(), "Vertices:VERTEX_ENT()"));
    EXPECT_EQ(1u, records.count("LAYERS_TAB"));
    EXPECT_EQ(0u, records.count("LWVERTEXES"));

    const std::vector<std::pair<std::string, std::vector<std::pair<std::string, int32_t>>>> enums = {
        {"TextConvertMode", {{"None", 0}, {"FromUTF8", 1}, {"Utf8", 2}, {"Auto", 3}}},
        {"SaveMode", {{"Classic", 0}, {"Standard", 1}}},
    };
    ASSERT_EQ(static_cast<int32_t>(enums.size()), lib.enum_count);
    for (std::size_t i = 0; i < enums.size(); ++i) {
        ormavec_enum_info e{};
        ormavec_typelib_enum(static_cast<int32_t>(i), &e);
        EXPECT_EQ(enums[i].first, e.name);
        ASSERT_EQ(static_cast<int32_t>(enums[i].second.size()), e.value_count) << e.name;
        for (std::size_t k = 0; k < enums[i].second.size(); ++k) {
            ormavec_enum_value v{};
            ormavec_typelib_enum_value(static_cast<int32_t>(i), static_cast<int32_t>(k), &v);
            EXPECT_EQ(enums[i].second[k].first, v.name);
            EXPECT_EQ(enums[i].second[k].second, v.value);
        }
    }
}

TEST(AutomationDispatch, EveryFixedIdReachesItsMember) {
    const fs::path dir = TempDir("members");
    Obj doc = Create("Ormavec.DXFDocument");
    for (const char* name : {"HEADER", "ENTITIES", "BLOCKS", "TABLES"}) {
        Obj section = GetObject(doc.p, name);
        EXPECT_STREQ(name, ormavec_class_name(section.p));
        EXPECT_EQ("_" + std::string(name), ormavec_interface_name(section.p));
    }
    Var name;
    ASSERT_EQ(ORMAVEC_S_OK, Call(doc.p, "FileName", kGet, &name.v));
    EXPECT_STREQ("", name.v.u.strVal);
    const std::string in = WriteLines(dir / "in.dxf", 1), out = (dir / "out.dxf").string();
    Args load, save, mode, version;
    load.str(in.c_str());
    save.str(out.c_str());
    ASSERT_EQ(ORMAVEC_S_OK, Call(doc.p, "Load", kMethod, load));
    ASSERT_EQ(ORMAVEC_S_OK, Call(doc.p, "Save", kMethod, save));
    EXPECT_TRUE(fs::exists(out));
    EXPECT_EQ(ORMAVEC_S_OK, Call(doc.p, "ExplodePolyLines", kMethod));
    EXPECT_EQ(ORMAVEC_S_OK, Call(doc.p, "ExplodeLWPolyLines", kMethod));
    EXPECT_EQ(ORMAVEC_S_OK, Call(doc.p, "TextConvertMode", kLet, mode.i4(1)));
    EXPECT_EQ(ORMAVEC_S_OK, Call(doc.p, "VersionMode", kLet, version.i4(6)));
    Var vm;
    EXPECT_EQ(ORMAVEC_S_OK, Call(doc.p, "VersionMode", kGet, &vm.v));
    EXPECT_EQ(ORMAVEC_VT_I2, vm.v.vt);
    EXPECT_EQ(6, vm.v.u.iVal);
    Args reset;
    Call(doc.p, "VersionMode", kLet, reset.i4(0));
    Args standard;
    EXPECT_EQ(ORMAVEC_S_OK, Call(doc.p, "SaveMode", kLet, standard.i4(1)));
    EXPECT_EQ(1, GetInt(doc.p, "SaveMode"));

    Obj header = GetObject(doc.p, "HEADER");
    Args ver;
    EXPECT_EQ(ORMAVEC_S_OK, Call(header.p, "AcadVer", kLet, ver.i4(1015)));
    EXPECT_EQ(1015, GetInt(header.p, "AcadVer"));
    for (const char* point : {"ExtMax", "ExtMin", "InsBase"}) {
        Var xyz;
        ASSERT_EQ(ORMAVEC_S_OK, ormavec_record_new("XYZ", &xyz.v));
        Args x;
        x.r8(7.5);
        ormavec_record_put(&xyz.v, "Y", &x.v[0]);
        Args let;
        EXPECT_EQ(ORMAVEC_S_OK, Call(header.p, point, kLet, let.copy(xyz.v)));
        Var got;
        ASSERT_EQ(ORMAVEC_S_OK, Call(header.p, point, kGet, &got.v));
        EXPECT_STREQ("XYZ", ormavec_record_type(&got.v));
        EXPECT_EQ(7.5, Field(got.v, "Y"));
    }

    Obj entities = GetObject(doc.p, "ENTITIES");
    for (const char* c : {"ARCS", "CIRCLES", "ELLIPSES", "FACE3DS", "INSERTS", "LINES", "LWPOLYLINES", "MTEXTS", "POLYLINES", "POINTS",
                          "TEXTS", "SOLIDS", "ATTDEFS", "ATTRIBS"}) {
        Obj list = GetObject(entities.p, c);
        EXPECT_STREQ(c, ormavec_class_name(list.p));
    }
    // The loaded line runs from (0, 0) to (0, 1); add one from (1, 2) to (3, 5).
    Obj lines = GetObject(entities.p, "LINES");
    Var rec;
    LineRecord(rec, 1, 2, 3, 5);
    Args add;
    ASSERT_EQ(ORMAVEC_S_OK, Call(lines.p, "Add", kMethod, add.copy(rec.v)));
    Args extent;
    extent.empty().empty().empty().empty();
    ASSERT_EQ(ORMAVEC_S_OK, Call(entities.p, "ReCalcExtent", kMethod, extent));
    const double expect[] = {0, 0, 3, 5};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(ORMAVEC_VT_R8, extent.v[i].vt);
        EXPECT_EQ(expect[i], extent.v[i].u.dblVal) << i;
    }

    Obj debug = Create("Ormavec.clsDebug");
    Args on, file;
    EXPECT_EQ(ORMAVEC_S_OK, Call(debug.p, "sLogFileName", kLet, file.str((dir / "log.txt").c_str())));
    EXPECT_EQ(ORMAVEC_S_OK, Call(debug.p, "bCallLog", kLet, on.i4(0)));
    fs::remove_all(dir);
}

TEST(AutomationDispatch, ErrorsCarryNumberSourceAndDescription) {
    Obj lines = Create("Ormavec.LINES");
    Args index;
    index.i4(5);
    EXPECT_EQ(ORMAVEC_ERR_INVALID_ARGUMENT, Call(lines.p, "Item", kGet, index));
    ormavec_error_info e = LastError();
    EXPECT_EQ(ORMAVEC_ERR_INVALID_ARGUMENT, e.number);
    EXPECT_STREQ("LINES", e.source);
    EXPECT_STRNE("", e.description);

    Var arc;
    ormavec_record_new("ARC_ENT", &arc.v);
    Args wrong;
    EXPECT_EQ(static_cast<int32_t>(0x800A000D), Call(lines.p, "ToLINE_ENT", kMethod, wrong.copy(arc.v)));
    EXPECT_EQ(13, LastError().number);

    Args bad;
    bad.i4(0);
    EXPECT_EQ(ORMAVEC_ERR_INVALID_ARGUMENT, Call(lines.p, "GrowLength", kLet, bad));
    EXPECT_STREQ("GrowLength value must be greater than 0", LastError().description);

    // Find on a non-empty list has no order to compare with.
    Var rec;
    LineRecord(rec, 0, 0, 1, 1);
    Args add, find;
    ASSERT_EQ(ORMAVEC_S_OK, Call(lines.p, "AddItem", kMethod, add.copy(rec.v)));
    EXPECT_EQ(ORMAVEC_ERR_NOT_SUPPORTED, Call(lines.p, "Find", kMethod, find.copy(rec.v).i4(-1)));
    EXPECT_STREQ("Compare/1", LastError().description);

    const char* unknown = "NoSuchMember";
    int32_t id = 0;
    EXPECT_EQ(ORMAVEC_DISP_E_UNKNOWNNAME, ormavec_get_ids_of_names(lines.p, &unknown, 1, &id));
    EXPECT_EQ(ORMAVEC_DISPID_UNKNOWN, id);
    const char* withParams[] = {"SetCount", "PreserveValues", "Nope"};
    int32_t ids[3];
    EXPECT_EQ(ORMAVEC_DISP_E_UNKNOWNNAME, ormavec_get_ids_of_names(lines.p, withParams, 3, ids));
    EXPECT_EQ(0x6003000B, ids[0]);
    EXPECT_EQ(1, ids[1]);
    EXPECT_EQ(ORMAVEC_DISPID_UNKNOWN, ids[2]);

    Args none, tooMany;
    EXPECT_EQ(ORMAVEC_DISP_E_MEMBERNOTFOUND, Call(lines.p, "Count", kLet, none));
    EXPECT_EQ(ORMAVEC_DISP_E_PARAMNOTFOUND, Call(lines.p, "Delete", kMethod, none));
    EXPECT_EQ(ORMAVEC_DISP_E_BADPARAMCOUNT, Call(lines.p, "Count", kGet, tooMany.i4(1)));
    EXPECT_EQ(ORMAVEC_DISP_E_MEMBERNOTFOUND, ormavec_invoke(lines.p, 0x12345, kMethod, nullptr, 0, nullptr));

    Obj doc = Create("Ormavec.DXFDocument");
    Args missing;
    EXPECT_EQ(static_cast<int32_t>(0x800A0035), Call(doc.p, "Load", kMethod, missing.str("/nonexistent/ormavec/x.dxf")));
    EXPECT_EQ(53, LastError().number);
}

int16_t gCompareCalls = 0;
int32_t ByStartX(void*, const ormavec_variant* a, const ormavec_variant* b, int16_t* result) {
    ++gCompareCalls;
    const double x = Field(*a, "StartX"), y = Field(*b, "StartX");
    *result = static_cast<int16_t>(x < y ? -1 : (x > y ? 1 : 0));
    return 0;
}

TEST(AutomationDispatch, CollectionAnswersItsOwnInterfaceAndIArrayList) {
    Obj lines = Create("Ormavec.LINES");
    Obj list;
    ormavec_guid iid = Guid("{72442825-B37F-40F9-8A11-B577A06BC0F6}");
    ASSERT_EQ(ORMAVEC_S_OK, ormavec_query_interface(lines.p, &iid, &list.p));
    EXPECT_STREQ("_IArrayList", ormavec_interface_name(list.p));
    EXPECT_STREQ("LINES", ormavec_class_name(list.p));
    for (double x : {3.0, 1.0, 2.0}) {
        Var rec;
        LineRecord(rec, x, 0, x, 1);
        Args add;
        ASSERT_EQ(ORMAVEC_S_OK, Call(list.p, "AddItem", kMethod, add.copy(rec.v)));
    }
    EXPECT_EQ(3, GetInt(lines.p, "Count"));
    EXPECT_EQ(36, GetInt(list.p, "VarType"));
    Args byRef;
    byRef.i4(0).empty();
    EXPECT_EQ(ORMAVEC_ERR_NOT_SUPPORTED,
              ormavec_invoke(list.p, 0, ORMAVEC_DISPATCH_PROPERTYPUTREF, byRef.v.data(), 2, nullptr));
    EXPECT_STREQ("Value type container does not support Set statement!", LastError().description);

    Obj comparer;
    ASSERT_EQ(ORMAVEC_S_OK, ormavec_comparer_new(ByStartX, nullptr, &comparer.p));
    Args sort;
    sort.empty().empty();
    sort.add().vt = ORMAVEC_VT_DISPATCH;
    sort.v[2].u.objVal = comparer.p;
    ormavec_add_ref(comparer.p);
    ASSERT_EQ(ORMAVEC_S_OK, Call(lines.p, "Sort", kMethod, sort));
    EXPECT_GT(gCompareCalls, 0);
    for (int i = 0; i < 3; ++i) {
        Args index;
        Var item;
        ASSERT_EQ(ORMAVEC_S_OK, ormavec_invoke(list.p, ORMAVEC_DISPID_VALUE, kGet, &index.i4(i).v[0], 1, &item.v));
        EXPECT_EQ(i + 1.0, Field(item.v, "StartX"));
    }

    Args range;
    Var copy;
    ASSERT_EQ(ORMAVEC_S_OK, Call(lines.p, "Copy", kMethod, range.i4(1).i4(2), &copy.v));
    ASSERT_EQ(ORMAVEC_VT_DISPATCH, copy.v.vt);
    EXPECT_STREQ("_IArrayList", ormavec_interface_name(copy.v.u.objVal));
    EXPECT_EQ(2, GetInt(copy.v.u.objVal, "Count"));
    Obj typed;
    ormavec_guid linesIid = Guid("{86CE3558-C364-4B54-876E-DD90D9441A3F}");
    ASSERT_EQ(ORMAVEC_S_OK, ormavec_query_interface(copy.v.u.objVal, &linesIid, &typed.p));
    EXPECT_STREQ("_LINES", ormavec_interface_name(typed.p));
    Var arr;
    ASSERT_EQ(ORMAVEC_S_OK, Call(typed.p, "GetArray", kMethod, &arr.v));
    EXPECT_EQ(ORMAVEC_VT_ARRAY | ORMAVEC_VT_RECORD, arr.v.vt);
    int32_t lb = -1, n = -1;
    EXPECT_EQ(ORMAVEC_S_OK, ormavec_array_bounds(&arr.v, &lb, &n));
    EXPECT_EQ(0, lb);
    EXPECT_EQ(2, n);

    Obj asComparer;
    ormavec_guid cmpIid = Guid("{53CCE7F1-97B7-4CD9-9BC7-90077B742BF4}");
    ASSERT_EQ(ORMAVEC_S_OK, ormavec_query_interface(lines.p, &cmpIid, &asComparer.p));
    Var a;
    LineRecord(a, 0, 0, 0, 0);
    Args pair;
    EXPECT_EQ(ORMAVEC_ERR_NOT_SUPPORTED, Call(asComparer.p, "Compare", kMethod, pair.copy(a.v).copy(a.v)));

    Obj doc = Create("Ormavec.DXFDocument");
    Obj none;
    EXPECT_EQ(ORMAVEC_E_NOINTERFACE, ormavec_query_interface(doc.p, &iid, &none.p));
}

TEST(AutomationDispatch, ByReferenceArgumentsAreWrittenBack) {
    Obj layers = Create("Ormavec.LAYERS");
    Var layer;
    ASSERT_EQ(ORMAVEC_S_OK, ormavec_record_new("LAYERS_TAB", &layer.v));
    Args name, color;
    ormavec_record_put(&layer.v, "layername", &name.str("Walls").v[0]);
    ormavec_record_put(&layer.v, "ColorNumber", &color.i4(3).v[0]);
    Args add;
    ASSERT_EQ(ORMAVEC_S_OK, Call(layers.p, "AddItem", kMethod, add.copy(layer.v)));
    Args found;
    Var result;
    ASSERT_EQ(ORMAVEC_S_OK, Call(layers.p, "ItemByName", kMethod, found.str("WALLS").empty(), &result.v));
    EXPECT_EQ(-1, result.v.u.boolVal);
    ASSERT_STREQ("LAYERS_TAB", ormavec_record_type(&found.v[1]));
    Var c;
    ormavec_record_get(&found.v[1], "ColorNumber", &c.v);
    EXPECT_EQ(3, c.v.u.lVal);
    Args missing;
    missing.str("Roof").copy(layer.v);
    Var notFound;
    ASSERT_EQ(ORMAVEC_S_OK, Call(layers.p, "ItemByName", kMethod, missing, &notFound.v));
    EXPECT_EQ(0, notFound.v.u.boolVal);
    Var kept;
    ormavec_record_get(&missing.v[1], "LayerName", &kept.v);
    EXPECT_STREQ("Walls", kept.v.u.strVal);  // left as it was
    Args number;
    EXPECT_EQ(static_cast<int32_t>(0x800A000D), Call(layers.p, "ItemByName", kMethod, number.str("Walls").i4(42)));

    // CreateEntityArrays fills the block's collections, which copies share.
    Obj blocks = Create("Ormavec.BLOCKS");
    Args elem;
    elem.empty();
    ASSERT_EQ(ORMAVEC_S_OK, Call(blocks.p, "CreateEntityArrays", kMethod, elem));
    Var lines;
    ASSERT_EQ(ORMAVEC_S_OK, ormavec_record_get(&elem.v[0], "LINES", &lines.v));
    ASSERT_EQ(ORMAVEC_VT_DISPATCH, lines.v.vt);
    EXPECT_EQ(10, GetInt(lines.v.u.objVal, "GrowLength"));
}

TEST(AutomationRecords, FieldsByNameWithConversions) {
    Var rec;
    ASSERT_EQ(ORMAVEC_S_OK, ormavec_record_new("POLYLINE_ENT", &rec.v));
    Args text, flag;
    EXPECT_EQ(ORMAVEC_S_OK, ormavec_record_put(&rec.v, "thickness", &text.str("2.5").v[0]));
    EXPECT_EQ(2.5, Field(rec.v, "Thickness"));
    Args bad;
    EXPECT_EQ(static_cast<int32_t>(0x800A000D), ormavec_record_put(&rec.v, "Thickness", &bad.str("abc").v[0]));
    EXPECT_EQ(13, LastError().number);
    EXPECT_EQ(ORMAVEC_DISP_E_UNKNOWNNAME, ormavec_record_put(&rec.v, "Nope", &flag.i4(1).v[0]));
    EXPECT_EQ(ORMAVEC_S_OK, ormavec_record_put(&rec.v, "IsClosed", &flag.v[0]));
    Var closed;
    ormavec_record_get(&rec.v, "IsClosed", &closed.v);
    EXPECT_EQ(ORMAVEC_VT_BOOL, closed.v.vt);
    EXPECT_EQ(-1, closed.v.u.boolVal);

    // An array field: unallocated while empty, then two vertices.
    Var vertices;
    ASSERT_EQ(ORMAVEC_S_OK, ormavec_record_get(&rec.v, "Vertices", &vertices.v));
    int32_t lb = 0, n = 0;
    EXPECT_EQ(ORMAVEC_S_FALSE, ormavec_array_bounds(&vertices.v, &lb, &n));
    Var arr, vertex;
    ASSERT_EQ(ORMAVEC_S_OK, ormavec_array_new("VERTEX_ENT", 0, 2, &arr.v));
    ormavec_record_new("VERTEX_ENT", &vertex.v);
    Args x;
    ormavec_record_put(&vertex.v, "X", &x.r8(4).v[0]);
    ASSERT_EQ(ORMAVEC_S_OK, ormavec_array_put(&arr.v, 1, &vertex.v));
    EXPECT_EQ(static_cast<int32_t>(0x800A0009), ormavec_array_put(&arr.v, 2, &vertex.v));
    ASSERT_EQ(ORMAVEC_S_OK, ormavec_record_put(&rec.v, "Vertices", &arr.v));
    Var back, second;
    ormavec_record_get(&rec.v, "Vertices", &back.v);
    EXPECT_EQ(ORMAVEC_S_OK, ormavec_array_bounds(&back.v, &lb, &n));
    EXPECT_EQ(2, n);
    ASSERT_EQ(ORMAVEC_S_OK, ormavec_array_get(&back.v, 1, &second.v));
    EXPECT_EQ(4.0, Field(second.v, "X"));
    Var wrongType;
    ormavec_array_new("LINE_ENT", 0, 1, &wrongType.v);
    EXPECT_EQ(static_cast<int32_t>(0x800A000D), ormavec_record_put(&rec.v, "Vertices", &wrongType.v));
}

std::vector<int32_t> gPercents;
void Track(void* context, int32_t dispid, ormavec_variant* args, int32_t argc) {
    ASSERT_EQ(1, dispid);
    ASSERT_EQ(1, argc);
    gPercents.push_back(args[0].u.lVal);
    if (context) args[0].u.lVal = 100;
}

TEST(AutomationEvents, ProgressReachesSinksAndPercentGoesBack) {
    const fs::path dir = TempDir("events");
    const std::string file = WriteLines(dir / "many.dxf", 400);
    auto load = [&](bool overwrite) {
        Obj doc = Create("Ormavec.DXFDocument");
        uint32_t cookie = 0;
        EXPECT_EQ(ORMAVEC_S_OK, ormavec_advise(doc.p, Track, overwrite ? &gPercents : nullptr, &cookie));
        gPercents.clear();
        Args name;
        EXPECT_EQ(ORMAVEC_S_OK, Call(doc.p, "Load", kMethod, name.str(file.c_str())));
        EXPECT_EQ(ORMAVEC_S_OK, ormavec_unadvise(doc.p, cookie));
        EXPECT_EQ(ORMAVEC_CONNECT_E_NOCONNECTION, ormavec_unadvise(doc.p, cookie));
        return gPercents;
    };
    const std::vector<int32_t> plain = load(false);
    ASSERT_FALSE(plain.empty());
    EXPECT_TRUE(std::is_sorted(plain.begin(), plain.end()));
    EXPECT_EQ(plain.end(), std::adjacent_find(plain.begin(), plain.end()));
    // With Percent set to 100 by the sink, every later percentage differs
    // from the reader's value, so the same value is raised again and again.
    const std::vector<int32_t> changed = load(true);
    EXPECT_GT(changed.size(), plain.size());
    EXPECT_NE(changed.end(), std::adjacent_find(changed.begin(), changed.end()));

    Obj lines = Create("Ormavec.LINES");
    uint32_t cookie = 0;
    EXPECT_EQ(ORMAVEC_CONNECT_E_NOCONNECTION, ormavec_advise(lines.p, Track, nullptr, &cookie));
    fs::remove_all(dir);
}

TEST(AutomationServer, FactoryCreatesEveryClassAndUnloadFollowsObjectsAndLocks) {
    ASSERT_EQ(ORMAVEC_S_OK, DllCanUnloadNow()) << "an earlier test leaked an object";
    for (const ClassRow& row : kClasses) {
        const ormavec_guid clsid = Guid(row.clsid), iid = Guid(row.iid);
        Obj factory, object, again;
        ASSERT_EQ(ORMAVEC_S_OK, DllGetClassObject(&clsid, nullptr, &factory.p)) << row.name;
        EXPECT_EQ(ORMAVEC_S_FALSE, DllCanUnloadNow());
        ASSERT_EQ(ORMAVEC_S_OK, ormavec_factory_create_instance(factory.p, nullptr, &iid, &object.p)) << row.name;
        EXPECT_STREQ(row.name, ormavec_class_name(object.p));
        const ormavec_guid unknown = Guid("{00000000-0000-0000-C000-000000000046}");
        ASSERT_EQ(ORMAVEC_S_OK, ormavec_query_interface(object.p, &unknown, &again.p));
        EXPECT_EQ(object.p, again.p);
        ormavec_object* aggregated = nullptr;
        EXPECT_EQ(ORMAVEC_CLASS_E_NOAGGREGATION, ormavec_factory_create_instance(factory.p, object.p, nullptr, &aggregated));
        EXPECT_EQ(nullptr, aggregated);
    }
    EXPECT_EQ(ORMAVEC_S_OK, DllCanUnloadNow());
    const ormavec_guid nope = Guid("{00000000-1111-2222-3333-444444444444}");
    ormavec_object* f = nullptr;
    EXPECT_EQ(ORMAVEC_CLASS_E_CLASSNOTAVAILABLE, DllGetClassObject(&nope, nullptr, &f));
    EXPECT_EQ(nullptr, f);

    {
        Obj doc = Create("Ormavec.DXFDocument");
        Obj entities = GetObject(doc.p, "ENTITIES");
        ormavec_release(doc.p);
        doc.p = nullptr;
        EXPECT_EQ(ORMAVEC_S_FALSE, DllCanUnloadNow());  // the section still lives
    }
    EXPECT_EQ(ORMAVEC_S_OK, DllCanUnloadNow());

    const ormavec_guid clsid = Guid("{FDAD9AB1-0685-4ADA-AB7C-FC09134C81EE}");
    ormavec_object* factory = nullptr;
    ASSERT_EQ(ORMAVEC_S_OK, DllGetClassObject(&clsid, nullptr, &factory));
    ormavec_factory_lock_server(factory, 1);
    ormavec_release(factory);
    EXPECT_EQ(ORMAVEC_S_FALSE, DllCanUnloadNow());
    ASSERT_EQ(ORMAVEC_S_OK, DllGetClassObject(&clsid, nullptr, &factory));
    ormavec_factory_lock_server(factory, 0);
    ormavec_release(factory);
    EXPECT_EQ(ORMAVEC_S_OK, DllCanUnloadNow());
}

TEST(AutomationServer, RegistrationWritesAndRemovesThePerUserFile) {
    const fs::path dir = TempDir("registry");
    const char* saved = std::getenv("ORMAVEC_REGISTRY_FILE");
    const std::string keep = saved ? saved : "";
    const fs::path file = dir / "sub" / "registry.ini";
    setenv("ORMAVEC_REGISTRY_FILE", file.c_str(), 1);
    ASSERT_EQ(ORMAVEC_S_OK, DllRegisterServer());
    const std::string text = ReadFile(file);
    for (const char* expected :
         {"[TypeLib {3A6C0766-157B-4090-A3E4-C890402F0A86}]\nName=Ormavec\nVersion=7.2\n",
          "[CLSID {FDAD9AB1-0685-4ADA-AB7C-FC09134C81EE}]\nName=DXFDocument\nProgID=Ormavec.DXFDocument.7\n"
          "VersionIndependentProgID=Ormavec.DXFDocument\n",
          "ThreadingModel=Apartment", "[ProgID Ormavec.clsDebug]\nCLSID={39514D20-4538-4C88-9AAD-B0279D5132C3}\n",
          "[Interface {951DBB8A-6B03-4C40-8E5F-BD2FD1A49129}]\nName=__DXFDocument"})
        EXPECT_NE(std::string::npos, text.find(expected)) << expected;
    EXPECT_NE(std::string::npos, text.find("InprocServer32=/"));
    ASSERT_EQ(ORMAVEC_S_OK, DllUnregisterServer());
    EXPECT_FALSE(fs::exists(file));
    EXPECT_EQ(ORMAVEC_S_OK, DllUnregisterServer());

    // Without the override: under XDG_DATA_HOME.
    unsetenv("ORMAVEC_REGISTRY_FILE");
    const char* xdg = std::getenv("XDG_DATA_HOME");
    const std::string keepXdg = xdg ? xdg : "";
    setenv("XDG_DATA_HOME", dir.c_str(), 1);
    EXPECT_EQ(ORMAVEC_S_OK, DllRegisterServer());
    EXPECT_TRUE(fs::exists(dir / "ormavec" / "registry.ini"));
    EXPECT_EQ(ORMAVEC_S_OK, DllUnregisterServer());
    if (xdg) setenv("XDG_DATA_HOME", keepXdg.c_str(), 1);
    else unsetenv("XDG_DATA_HOME");
    if (saved) setenv("ORMAVEC_REGISTRY_FILE", keep.c_str(), 1);
    fs::remove_all(dir);
}

}  // namespace
