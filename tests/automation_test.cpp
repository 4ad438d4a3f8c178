// The automation layer through its C entry points, as a host uses it: the
// class factory, dispatch by name and id, results and error numbers, variant
// and array conversions, collection views, events and registration.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "automation/ormavec_automation.h"
#include "test_support.h"

namespace {

using ormavec::test::TempDir;
constexpr int32_t kGet = ORMAVEC_DISPATCH_PROPERTYGET, kLet = ORMAVEC_DISPATCH_PROPERTYPUT, kMethod = ORMAVEC_DISPATCH_METHOD;
constexpr int32_t kOk = ORMAVEC_S_OK, kInvalid = ORMAVEC_ERR_INVALID_ARGUMENT, kMismatch = ORMAVEC_FACILITY_CONTROL_BASE + 13;

struct Var : ormavec_variant {
    Var() { ormavec_variant_init(this); }
    ~Var() { ormavec_variant_clear(this); }
    Var(const Var&) = delete;
    Var& operator=(const Var&) = delete;
};

struct Release {
    void operator()(ormavec_object* o) const { ormavec_release(o); }
};
using Obj = std::unique_ptr<ormavec_object, Release>;

// A value from a short text: i (Long), h (Integer), f (Single), d (Double), b (Boolean)
// and v (a bare type code) with a number; s a string; @ a new record of a type;
// *<type><count> an array from 0; - missing.
ormavec_variant Make(std::string_view item) {
    ormavec_variant a;
    ormavec_variant_init(&a);
    const std::string rest(item.substr(1));
    double x = 0;
    std::from_chars(rest.data(), rest.data() + rest.size(), x);
    switch (item[0]) {
    case 'i': a.vt = ORMAVEC_VT_I4, a.u.lVal = static_cast<int32_t>(x); break;
    case 'h': a.vt = ORMAVEC_VT_I2, a.u.iVal = static_cast<int16_t>(x); break;
    case 'f': a.vt = ORMAVEC_VT_R4, a.u.fltVal = static_cast<float>(x); break;
    case 'd': a.vt = ORMAVEC_VT_R8, a.u.dblVal = x; break;
    case 'b': a.vt = ORMAVEC_VT_BOOL, a.u.boolVal = static_cast<int16_t>(x); break;
    case 'v': a.vt = static_cast<uint16_t>(x); break;
    case 's': ormavec_variant_set_string(&a, rest.c_str()); break;
    case '@': EXPECT_EQ(kOk, ormavec_record_new(rest.c_str(), &a)) << rest; break;
    case '*': EXPECT_EQ(kOk, ormavec_array_new(rest.substr(0, rest.size() - 1).c_str(), 0, rest.back() - '0', &a)) << rest; break;
    }
    return a;
}

// Arguments written as values joined by '|', released with the list.
struct Args {
    std::vector<ormavec_variant> v;
    explicit Args(std::string_view spec = "") {
        for (std::size_t at = 0, bar; at < spec.size(); at = bar + 1)
            v.push_back(Make(spec.substr(at, (bar = std::min(spec.find('|', at), spec.size())) - at)));
    }
    ~Args() {
        for (auto& a : v) ormavec_variant_clear(&a);
    }
};

// A value in the same letters; an array as "a<element type code>:<lower bound>,<count>" ("-" unallocated).
std::string Show(const ormavec_variant& v) {
    char n[32] = {};
    switch (v.vt) {
    case ORMAVEC_VT_EMPTY: return "-";
    case ORMAVEC_VT_I2: return "h" + std::to_string(v.u.iVal);
    case ORMAVEC_VT_I4: return "i" + std::to_string(v.u.lVal);
    case ORMAVEC_VT_R4: return "f" + std::string(n, std::to_chars(n, n + sizeof n, v.u.fltVal).ptr);
    case ORMAVEC_VT_R8: return "d" + std::string(n, std::to_chars(n, n + sizeof n, v.u.dblVal).ptr);
    case ORMAVEC_VT_BOOL: return "b" + std::to_string(v.u.boolVal);
    case ORMAVEC_VT_BSTR: return "s" + std::string(v.u.strVal);
    case ORMAVEC_VT_DISPATCH: return "o" + std::string(ormavec_interface_name(v.u.objVal));
    case ORMAVEC_VT_RECORD: return "@" + std::string(ormavec_record_type(&v));
    }
    int32_t lb = 0, count = 0;
    const bool allocated = ormavec_array_bounds(&v, &lb, &count) == kOk;
    return "a" + std::to_string(v.vt & 0xFFF) + ":" + (allocated ? std::to_string(lb) + "," + std::to_string(count) : "-");
}

// The failure of the thread as "<number> <source>: <description>".
std::string LastError() {
    ormavec_error_info e{};
    ormavec_get_last_error(&e);
    return std::to_string(e.number) + " " + e.source + ": " + e.description;
}

Obj Create(const std::string& cls) {
    ormavec_object* o = nullptr;
    EXPECT_EQ(kOk, ormavec_create_object(("Ormavec." + cls).c_str(), &o)) << cls;
    return Obj(o);
}

int32_t Call(ormavec_object* o, const char* name, int32_t kind, Args& a, ormavec_variant* result = nullptr) {
    int32_t id = ORMAVEC_DISPID_UNKNOWN;
    ormavec_get_ids_of_names(o, &name, 1, &id);
    return ormavec_invoke(o, id, kind, a.v.data(), static_cast<int32_t>(a.v.size()), result);
}
int32_t Call(ormavec_object* o, const char* name, int32_t kind, std::string_view spec = "", ormavec_variant* result = nullptr) {
    Args a(spec);
    return Call(o, name, kind, a, result);
}

Obj Get(ormavec_object* o, const char* name) {
    Var r;
    EXPECT_EQ(kOk, Call(o, name, kGet, "", &r)) << name;
    r.vt = ORMAVEC_VT_EMPTY;  // the reference moves out
    return Obj(r.u.objVal);
}

std::string Field(const ormavec_variant& record, const char* field) {
    Var f;
    return ormavec_record_get(&record, field, &f) == kOk ? Show(f) : LastError();
}

ormavec_guid Guid(const char* text) {
    ormavec_guid g{};
    ormavec_guid_from_string(text, &g);
    return g;
}

// The dispatch ids compiled hosts rely on: those the interfaces fix, and
// those one rule gives every collection class ("*").
const std::map<std::string, int32_t> kIds = {
    {"DXFDocument.HEADER", 0x68030004}, {"DXFDocument.ENTITIES", 0x68030003}, {"DXFDocument.BLOCKS", 0x68030002},
    {"DXFDocument.TABLES", 0x68030001}, {"DXFDocument.FileName", 0x68030000}, {"DXFDocument.Load", 0x60030007},
    {"DXFDocument.Save", 0x6003000B}, {"DXFDocument.ExplodePolyLines", 0x6003000C}, {"DXFDocument.ExplodeLWPolyLines", 0x6003000D},
    {"DXFDocument.TextConvertMode", 0x6803000E}, {"DXFDocument.VersionMode", 0x6803000F}, {"HEADER.AcadVer", 0x68030017},
    {"HEADER.ExtMax", 0x68030016}, {"HEADER.ExtMin", 0x68030015}, {"HEADER.InsBase", 0x68030014}, {"ENTITIES.ReCalcExtent", 0x6003000F},
    {"ENTITIES.ARCS", 0x6803000D}, {"ENTITIES.CIRCLES", 0x6803000C}, {"ENTITIES.ELLIPSES", 0x6803000B}, {"ENTITIES.FACE3DS", 0x6803000A},
    {"ENTITIES.INSERTS", 0x68030009}, {"ENTITIES.LINES", 0x68030008}, {"ENTITIES.LWPOLYLINES", 0x68030007}, {"ENTITIES.MTEXTS", 0x68030006},
    {"ENTITIES.POLYLINES", 0x68030005}, {"ENTITIES.POINTS", 0x68030004}, {"ENTITIES.TEXTS", 0x68030003}, {"ENTITIES.SOLIDS", 0x68030002},
    {"ENTITIES.ATTDEFS", 0x68030001}, {"ENTITIES.ATTRIBS", 0x68030000}, {"clsDebug.bCallLog", 0x68030001},
    {"clsDebug.sLogFileName", 0x68030000}, {"TABLES.LAYERS", 0x68030000}, {"TABLES.STYLES", 0x68030002},
    {"IArrayList.SetArray", 0x60030000}, {"IArrayList.Count", 0x6803000A}, {"IArrayList.Item", 0}, {"IArrayList.Sort", 0x60030011},
    {"IComparer.Compare", 0x60030000}, {"*.Sort", 0x60030001}, {"*.SetArray", 0x60030002}, {"*.GetArray", 0x60030003},
    {"*.VarType", 0x68030004}, {"*.ShrinkFactor", 0x68030005}, {"*.LowerBound", 0x68030006}, {"*.UpperBound", 0x68030007},
    {"*.GrowLength", 0x68030008}, {"*.Shrink", 0x60030009}, {"*.EraseArray", 0x6003000A}, {"*.SetCount", 0x6003000B},
    {"*.Count", 0x6803000C}, {"*.AddItem", 0x6003000D}, {"*.RemoveItem", 0x6003000E}, {"*.Item", 0}, {"*.Find", 0x60030010},
    {"*.Copy", 0x60030011}, {"*.Add", 0x60030012}, {"*.Delete", 0x60030013}, {"LAYERS.DeleteByName", 0x60030014},
    {"LAYERS.ItemByName", 0x60030015}, {"LAYERS.Clear", 0x60030016}, {"BLOCKS.CreateEntityArrays", 0x60030017}};

TEST(AutomationServer, EveryClassComesFromItsFactoryAndTakesEveryMemberByName) {
    ASSERT_EQ(kOk, DllCanUnloadNow()) << "an earlier test leaked an object";
    ormavec_typelib_info lib{};
    ormavec_typelib_get_info(&lib);
    char libid[39];
    ormavec_guid_to_string(&lib.libid, libid);
    EXPECT_EQ("Ormavec 7.2 {3A6C0766-157B-4090-A3E4-C890402F0A86}",
              lib.name + (" " + std::to_string(lib.major)) + "." + std::to_string(lib.minor) + " " + libid);
    std::set<std::string> seen;
    for (int32_t i = 0; i < lib.class_count; ++i) {
        ormavec_class_info c{};
        ormavec_guid byProgID{}, versioned{};
        ASSERT_EQ(kOk, ormavec_typelib_class(i, &c));
        EXPECT_EQ(kOk, ormavec_clsid_from_progid(c.progid, &byProgID));
        EXPECT_EQ(kOk, ormavec_clsid_from_progid((c.progid + std::string(".7")).c_str(), &versioned));
        EXPECT_TRUE(!std::memcmp(&byProgID, &c.clsid, 16) && !std::memcmp(&versioned, &c.clsid, 16) && c.creatable) << c.name;
        ormavec_object *f = nullptr, *o = nullptr, *same = nullptr, *outer = nullptr;
        ASSERT_EQ(kOk, DllGetClassObject(&c.clsid, nullptr, &f));
        Obj factory(f);
        ASSERT_EQ(kOk, ormavec_factory_create_instance(f, nullptr, &c.iid, &o));
        Obj object(o);
        EXPECT_EQ(ORMAVEC_CLASS_E_NOAGGREGATION, ormavec_factory_create_instance(f, o, nullptr, &outer));
        const ormavec_guid unknown = Guid("{00000000-0000-0000-C000-000000000046}");
        ASSERT_EQ(kOk, ormavec_query_interface(o, &unknown, &same));
        Obj identity(same);
        EXPECT_EQ(o, same);
        EXPECT_EQ(std::string(c.name) + " _" + c.name, ormavec_class_name(o) + std::string(" ") + ormavec_interface_name(o));
        // Each member by name in any letter case and its parameters by name
        // give their ids; called with every argument missing, a member
        // succeeds or fails with a description, and leaks nothing.
        int32_t iface = -1;
        ormavec_interface_info info{};
        ASSERT_EQ(kOk, ormavec_typelib_find_interface(c.default_interface, &iface));
        ormavec_typelib_interface(iface, &info);
        bool collection = false;
        for (int32_t m = 0; m < info.member_count; ++m) {
            ormavec_member_info member{};
            ormavec_typelib_member(iface, m, &member);
            collection = collection || (m == 0 && std::string(member.name).starts_with("To") && member.dispid == 0x60030000);
            for (const std::string& key : {c.name + std::string(".") + member.name, collection ? "*." + std::string(member.name) : ""})
                if (kIds.count(key) && seen.insert(key).first != seen.end()) {
                    EXPECT_EQ(kIds.at(key), member.dispid) << c.name << " " << key;
                }
            std::string lower = member.name;
            std::transform(lower.begin(), lower.end(), lower.begin(), [](char ch) { return static_cast<char>(std::tolower(ch)); });
            std::vector<const char*> names{lower.c_str()};
            Args missing;
            for (int32_t p = 0; p < member.param_count; ++p) {
                ormavec_param_info param{};
                ormavec_typelib_param(iface, m, p, &param);
                names.push_back(param.name);
                missing.v.push_back(Make("-"));
            }
            std::vector<int32_t> got(names.size());
            EXPECT_EQ(kOk, ormavec_get_ids_of_names(o, names.data(), static_cast<int32_t>(names.size()), got.data()));
            for (std::size_t p = 0; p < got.size(); ++p) EXPECT_EQ(p ? static_cast<int32_t>(p) - 1 : member.dispid, got[p]) << names[p];
            Var r;
            const int32_t hr = ormavec_invoke(o, member.dispid, member.kind, missing.v.data(), member.param_count, &r);
            EXPECT_TRUE(hr == kOk || (hr < 0 && LastError().find(": ") + 2 < LastError().size())) << c.name << "." << member.name;
        }
    }
    EXPECT_EQ(kIds.size(), seen.size());
    EXPECT_EQ(kOk, DllCanUnloadNow());
    // What a record's field gives, it takes back.
    for (int32_t r = 0; r < lib.record_count; ++r) {
        ormavec_record_info rec{};
        Var record;
        ormavec_typelib_record(r, &rec);
        ASSERT_EQ(kOk, ormavec_record_new(rec.name, &record));
        for (int32_t f = 0; f < rec.field_count; ++f) {
            ormavec_field_info field{};
            Var value;
            ormavec_typelib_field(r, f, &field);
            ASSERT_EQ(kOk, ormavec_record_get(&record, field.name, &value)) << rec.name << "." << field.name;
            EXPECT_EQ(kOk, ormavec_record_put(&record, field.name, &value)) << rec.name << "." << field.name << ": " << LastError();
        }
    }
    std::string enums;
    ormavec_enum_info e{};
    ormavec_enum_value v{};
    for (int32_t k = 0; ormavec_typelib_enum(k, &e) == kOk; ++k)
        for (int32_t n = 0; ormavec_typelib_enum_value(k, n, &v) == kOk; ++n) enums += std::string(e.name) + "." + v.name + "=" + std::to_string(v.value) + " ";
    EXPECT_EQ("TextConvertMode.None=0 TextConvertMode.FromUTF8=1 TextConvertMode.Utf8=2 TextConvertMode.Auto=3 SaveMode.Classic=0 "
              "SaveMode.Standard=1 ",
              enums);
}

TEST(AutomationServer, FactoryFailuresAndWhatKeepsTheLibraryLoaded) {
    ormavec_object *o = nullptr, *factory = nullptr;
    ormavec_guid g = Guid("{00000000-1111-2222-3333-444444444444}"), dispatch = Guid("{00020400-0000-0000-C000-000000000046}");
    ormavec_guid doc = Guid("{FDAD9AB1-0685-4ADA-AB7C-FC09134C81EE}"), list = Guid("{72442825-B37F-40F9-8A11-B577A06BC0F6}");
    EXPECT_EQ(ORMAVEC_CO_E_CLASSSTRING, ormavec_create_object("Ormavec.DXFReader", &o));
    EXPECT_EQ(ORMAVEC_CLASS_E_CLASSNOTAVAILABLE, ormavec_create_instance(&g, nullptr, &o));
    EXPECT_EQ(ORMAVEC_E_INVALIDARG, ormavec_guid_from_string("{not-an-identifier}", &g));
    EXPECT_EQ(ORMAVEC_E_NOINTERFACE, DllGetClassObject(&doc, &dispatch, &factory));
    ASSERT_EQ(kOk, ormavec_create_instance(&doc, &dispatch, &o));
    EXPECT_EQ(ORMAVEC_E_NOINTERFACE, ormavec_query_interface(o, &list, &factory));
    {
        Obj entities = Get(o, "ENTITIES");
        ormavec_release(o);
        EXPECT_EQ(ORMAVEC_S_FALSE, DllCanUnloadNow());  // the section outlives its document
    }
    EXPECT_EQ(kOk, DllCanUnloadNow());
    for (int32_t lock : {1, 0}) {
        ASSERT_EQ(kOk, DllGetClassObject(&doc, nullptr, &factory));
        ormavec_factory_lock_server(factory, lock);
        ormavec_release(factory);
        EXPECT_EQ(lock ? ORMAVEC_S_FALSE : kOk, DllCanUnloadNow());
    }
}

// Calls in order on one object per class: class, member, kind, arguments, result,
// and the result shown or a part of the failure.
const std::tuple<const char*, const char*, int32_t, const char*, int32_t, const char*> kCalls[] = {
    {"DXFDocument", "VersionMode", kLet, "i6", kOk, "-"}, {"DXFDocument", "VersionMode", kGet, "", kOk, "h6"},
    {"DXFDocument", "SaveMode", kLet, "i1", kOk, "-"}, {"DXFDocument", "SaveMode", kGet, "", kOk, "i1"},
    {"DXFDocument", "TextConvertMode", kGet, "", ORMAVEC_DISP_E_MEMBERNOTFOUND, "Member not found"},
    {"DXFDocument", "Load", kMethod, "", ORMAVEC_DISP_E_PARAMNOTFOUND, "not optional: FileName"},
    {"DXFDocument", "Load", kMethod, "s/nonexistent/x.dxf", ORMAVEC_FACILITY_CONTROL_BASE + 53, "53 "},
    {"DXFDocument", "FileName", kGet, "", kOk, "s/nonexistent/x.dxf"},
    {"HEADER", "AcadVer", kLet, "d1015", kOk, "-"}, {"HEADER", "AcadVer", kGet, "", kOk, "i1015"},
    {"HEADER", "ExtMin", kLet, "i5", kMismatch, "13 "}, {"LINES", "Item", kGet, "i0", kInvalid, "LINES: "},
    {"LINES", "GrowLength", kLet, "i0", kInvalid, "GrowLength value must be greater than 0"},
    {"LINES", "ShrinkFactor", kLet, "s2.5", kOk, "-"}, {"LINES", "ShrinkFactor", kGet, "", kOk, "f2.5"},
    {"LINES", "ToLINE_ENT", kMethod, "@ARC_ENT", kMismatch, "13 "}, {"LINES", "AddItem", kMethod, "@LINE_ENT", kOk, "-"},
    {"LINES", "Find", kMethod, "@LINE_ENT|i-1", ORMAVEC_ERR_NOT_SUPPORTED, "Compare/1"},
    {"LINES", "Copy", kMethod, "i0|i0", kOk, "o_IArrayList"}, {"LINES", "GetArray", kMethod, "", kOk, "a36:0,1"},
    {"LINES", "Count", kLet, "i1", ORMAVEC_DISP_E_MEMBERNOTFOUND, "Member not found"},
    {"LINES", "Count", kGet, "i1", ORMAVEC_DISP_E_BADPARAMCOUNT, "wrong number of arguments"},
    {"LINES", "Item", kGet, "v7", kMismatch, "variant type 7 is not supported"},
    {"LAYERS", "ItemByName", kMethod, "sWalls|i42", kMismatch, "13 "},
};

TEST(AutomationDispatch, CallsByNameGiveResultsAndErrors) {
    std::map<std::string, Obj> objects;
    for (const auto& [cls, member, kind, args, hr, expect] : kCalls) {
        Obj& o = objects[cls];
        if (!o) o = Create(cls);
        Var r;
        EXPECT_EQ(hr, Call(o.get(), member, kind, args, &r)) << cls << "." << member << "(" << args << "): " << LastError();
        EXPECT_NE(std::string::npos, (hr == kOk ? Show(r) : LastError()).find(expect)) << member << ": " << LastError();
    }
    EXPECT_EQ(ORMAVEC_DISP_E_MEMBERNOTFOUND, ormavec_invoke(objects["LINES"].get(), 0x12345, kMethod, nullptr, 0, nullptr));
}

// Values put into record fields and into array elements (type "*<element type>", from 1 to 2), as read back.
const char* const kConversions[][4] = {
    {"POLYLINE_ENT", "thickness", "h3", "d3"}, {"POLYLINE_ENT", "Thickness", "f2.5", "d2.5"},
    {"POLYLINE_ENT", "Thickness", "s-2.5", "d-2.5"}, {"POLYLINE_ENT", "Thickness", "b-1", "d-1"},
    {"POLYLINE_ENT", "Thickness", "v1", "d0"}, {"POLYLINE_ENT", "Thickness", "sabc", "13 "},
    {"POLYLINE_ENT", "ColorNumber", "d2.5", "i2"}, {"POLYLINE_ENT", "ColorNumber", "d3.5", "i4"},
    {"POLYLINE_ENT", "ColorNumber", "s7", "i7"}, {"POLYLINE_ENT", "ColorNumber", "d3e9", "6 "},
    {"POLYLINE_ENT", "LAYER", "i5", "s5"}, {"POLYLINE_ENT", "Layer", "d1.5", "s1.5"},
    {"POLYLINE_ENT", "Layer", "b-1", "sTrue"}, {"POLYLINE_ENT", "Layer", "@XYZ", "13 "},
    {"POLYLINE_ENT", "IsClosed", "i2", "b-1"}, {"POLYLINE_ENT", "IsClosed", "sFalse", "b0"},
    {"POLYLINE_ENT", "Vertices", "-", "a36:-"}, {"POLYLINE_ENT", "Vertices", "*VERTEX_ENT2", "a36:0,2"},
    {"POLYLINE_ENT", "Vertices", "*LINE_ENT1", "13 "}, {"POLYLINE_ENT", "CommandVertices", "*Variant1", "13 "},
    {"POLYLINE_ENT", "Vertices", "i1", "13 "}, {"POLYLINE_ENT", "Nope", "i1", "has no field Nope"},
    {"BLOCK_BLOCK", "LINES", "i1", "13 "}, {"XYZ", "X", "v7", "variant type 7 is not supported"},
    {"*Double", "2", "s2.5", "d2.5"}, {"*Long", "1", "d2.5", "i2"}, {"*String", "1", "i5", "s5"},
    {"*Boolean", "2", "i1", "b-1"}, {"*Variant", "1", "sx", "sx"}, {"*XYZ", "1", "@XYZ", "@XYZ"}, {"*XYZ", "1", "i1", "13 "},
    {"*Double", "3", "d1", "9 "}, {"*Double", "0", "d1", "9 "}, {"*Nope", "1", "d1", "Unknown element type: Nope"},
};

TEST(AutomationValues, ConversionsIntoFieldsAndArrayElements) {
    for (const auto& [type, field, value, expect] : kConversions) {
        Var container, copy, element;
        Args in(value);
        std::string got;
        if (type[0] == '*') {
            int32_t hr = ormavec_array_new(type + 1, 1, 2, &container);
            if (hr == kOk) hr = ormavec_array_put(&container, field[0] - '0', &in.v[0]);
            if (hr == kOk) hr = ormavec_array_get(&container, field[0] - '0', &element);
            got = hr == kOk ? Show(element) : LastError();
        } else {
            ASSERT_EQ(kOk, ormavec_record_new(type, &container));
            got = ormavec_record_put(&container, field, &in.v[0]) == kOk ? Field(container, field) : LastError();
        }
        EXPECT_TRUE(got == expect || (got.find(' ') != std::string::npos && got.find(expect) != std::string::npos))
            << type << "." << field << " := " << value << ": " << got;
        ASSERT_EQ(kOk, ormavec_variant_copy(&copy, &container));
        EXPECT_EQ(Show(container), Show(copy));
    }
}

int32_t ByStartX(void* calls, const ormavec_variant* a, const ormavec_variant* b, int16_t* result) {
    ++*static_cast<int*>(calls);
    const std::string x = Field(*a, "StartX"), y = Field(*b, "StartX");  // one digit each
    *result = static_cast<int16_t>(x < y ? -1 : x > y);
    return kOk;
}

TEST(AutomationCollections, ViewsOfACollectionAndSortingWithComparers) {
    Obj lines = Create("LINES"), doc = Create("DXFDocument");
    ormavec_object *list = nullptr, *cmp = nullptr, *host = nullptr, *failing = nullptr;
    const ormavec_guid listIid = Guid("{72442825-B37F-40F9-8A11-B577A06BC0F6}"), cmpIid = Guid("{53CCE7F1-97B7-4CD9-9BC7-90077B742BF4}");
    ASSERT_EQ(kOk, ormavec_query_interface(lines.get(), &listIid, &list));
    ASSERT_EQ(kOk, ormavec_query_interface(lines.get(), &cmpIid, &cmp));
    Obj keepList(list), keepCmp(cmp);
    EXPECT_EQ("LINES _IArrayList _IComparer", ormavec_class_name(list) + std::string(" ") + ormavec_interface_name(list) + " " +
                                                  ormavec_interface_name(cmp));
    for (const char* x : {"d3", "d1", "d2"}) {
        Args rec("@LINE_ENT"), startX(x);
        ormavec_record_put(&rec.v[0], "StartX", &startX.v[0]);
        ASSERT_EQ(kOk, Call(list, "AddItem", kMethod, rec));
    }
    EXPECT_EQ(ORMAVEC_ERR_NOT_SUPPORTED, Call(list, "Item", ORMAVEC_DISPATCH_PROPERTYPUTREF, "i0|@LINE_ENT"));
    EXPECT_NE(std::string::npos, LastError().find("Value type container does not support Set statement!"));
    EXPECT_EQ(ORMAVEC_ERR_NOT_SUPPORTED, Call(cmp, "Compare", kMethod, "@LINE_ENT|@LINE_ENT"));
    // A host callback sorts; one that fails ends the sort with its number; a
    // collection's own comparer has no order; a document is no comparer.
    int calls = 0;
    ASSERT_EQ(kOk, ormavec_comparer_new(ByStartX, &calls, &host));
    ASSERT_EQ(kOk, ormavec_comparer_new([](void*, const ormavec_variant*, const ormavec_variant*, int16_t*) { return ORMAVEC_E_FAIL; },
                                        nullptr, &failing));
    const std::pair<ormavec_object*, int32_t> comparers[] = {
        {failing, ORMAVEC_E_FAIL}, {lines.get(), ORMAVEC_ERR_NOT_SUPPORTED}, {doc.get(), kMismatch}, {host, kOk}};
    for (const auto& [comparer, hr] : comparers) {
        Args sort("-|-|-");
        sort.v[2].vt = ORMAVEC_VT_DISPATCH;
        sort.v[2].u.objVal = comparer;
        ormavec_add_ref(comparer);
        EXPECT_EQ(hr, Call(lines.get(), "Sort", kMethod, sort)) << LastError();
    }
    ormavec_release(failing);
    ormavec_release(host);
    EXPECT_GT(calls, 0);
    for (const char* i : {"i0", "i1", "i2"}) {
        Var item;
        ASSERT_EQ(kOk, Call(list, "Item", kGet, i, &item));
        EXPECT_EQ("d" + std::to_string(i[1] - '0' + 1), Field(item, "StartX"));
    }
}

std::vector<int32_t> gPercents;
void Track(void* pin, int32_t dispid, ormavec_variant* args, int32_t argc) {
    gPercents.push_back(dispid == 1 && argc == 1 ? args[0].u.lVal : -1);
    if (pin) args[0].u.lVal = 100;
}

TEST(AutomationDocument, LoadRaisesProgressSaveWritesAndArgumentsComeBack) {
    TempDir dir;
    std::string lines;
    for (int i = 0; i < 300; ++i) lines += "0\nLINE\n8\n0\n11\n3\n21\n5\n";
    ormavec::test::WriteFile(dir / "in.dxf", ormavec::test::Crlf("0\nSECTION\n2\nENTITIES\n" + lines + "0\nENDSEC\n0\nEOF\n"));
    std::vector<int32_t> plain;
    for (void* pin : {static_cast<void*>(nullptr), static_cast<void*>(&plain)}) {
        Obj doc = Create("DXFDocument");
        uint32_t cookie = 0;
        gPercents.clear();
        ASSERT_EQ(kOk, ormavec_advise(doc.get(), Track, pin, &cookie));
        ASSERT_EQ(kOk, Call(doc.get(), "Load", kMethod, "s" + dir / "in.dxf"));
        EXPECT_EQ(kOk, ormavec_unadvise(doc.get(), cookie));
        EXPECT_EQ(ORMAVEC_CONNECT_E_NOCONNECTION, ormavec_unadvise(doc.get(), cookie));
        if (pin) continue;
        plain = gPercents;  // every whole percentage once, rising to 100
        EXPECT_TRUE(std::is_sorted(plain.begin(), plain.end()) && std::adjacent_find(plain.begin(), plain.end()) == plain.end());
        EXPECT_EQ(100, plain.empty() ? 0 : plain.back());
        Args extent("-|-|-|-");
        ASSERT_EQ(kOk, Call(Get(doc.get(), "ENTITIES").get(), "ReCalcExtent", kMethod, extent));
        EXPECT_EQ("d0d0d3d5", Show(extent.v[0]) + Show(extent.v[1]) + Show(extent.v[2]) + Show(extent.v[3]));
        ASSERT_EQ(kOk, Call(doc.get(), "Save", kMethod, "s" + dir / "out.dxf"));
        Obj again = Create("DXFDocument");
        Var count;
        ASSERT_EQ(kOk, Call(again.get(), "Load", kMethod, "s" + dir / "out.dxf"));
        EXPECT_EQ(kOk, Call(Get(Get(again.get(), "ENTITIES").get(), "LINES").get(), "Count", kGet, "", &count));
        EXPECT_EQ("i300", Show(count));
    }
    // A sink that pins Percent to 100 hears every line until the reader's value reaches it.
    EXPECT_GT(gPercents.size(), plain.size());
    uint32_t cookie = 0;
    EXPECT_EQ(ORMAVEC_CONNECT_E_NOCONNECTION, ormavec_advise(Create("LINES").get(), Track, nullptr, &cookie));
    // Found by name in any letter case, a record comes back by reference; one not found stays as it was.
    Obj layers = Create("LAYERS");
    Args layer("@LAYERS_TAB"), name("sWalls"), color("i3"), found("sWALLS|-"), missing("sRoof|@LAYERS_TAB"), elem("-");
    ormavec_record_put(&layer.v[0], "layername", &name.v[0]);
    ormavec_record_put(&layer.v[0], "ColorNumber", &color.v[0]);
    ormavec_record_put(&missing.v[1], "ColorNumber", &color.v[0]);
    Var yes, no;
    ASSERT_EQ(kOk, Call(layers.get(), "AddItem", kMethod, layer));
    ASSERT_EQ(kOk, Call(layers.get(), "ItemByName", kMethod, found, &yes));
    ASSERT_EQ(kOk, Call(layers.get(), "ItemByName", kMethod, missing, &no));
    EXPECT_EQ("b-1 i3 b0 i3", Show(yes) + " " + Field(found.v[1], "ColorNumber") + " " + Show(no) + " " + Field(missing.v[1], "ColorNumber"));
    ASSERT_EQ(kOk, Call(Create("BLOCKS").get(), "CreateEntityArrays", kMethod, elem));
    EXPECT_EQ("o_LINES", Field(elem.v[0], "LINES"));
}

TEST(AutomationServer, RegistrationWritesAndRemovesThePerUserFile) {
    TempDir dir;
    const std::string file = dir / "sub/registry.ini";
    setenv("ORMAVEC_REGISTRY_FILE", file.c_str(), 1);
    ASSERT_EQ(kOk, DllRegisterServer());
    const std::string text = ormavec::test::ReadFile(file);
    for (const char* part : {"[TypeLib {3A6C0766-157B-4090-A3E4-C890402F0A86}]\nName=Ormavec\nVersion=7.2\n",
                             "[CLSID {FDAD9AB1-0685-4ADA-AB7C-FC09134C81EE}]\nName=DXFDocument\nProgID=Ormavec.DXFDocument.7\n"
                             "VersionIndependentProgID=Ormavec.DXFDocument\nInprocServer32=/",
                             "ThreadingModel=Apartment", "[ProgID Ormavec.clsDebug]\nCLSID={39514D20-4538-4C88-9AAD-B0279D5132C3}\n",
                             "[Interface {951DBB8A-6B03-4C40-8E5F-BD2FD1A49129}]\nName=__DXFDocument"})
        EXPECT_NE(std::string::npos, text.find(part)) << part;
    EXPECT_EQ(kOk, DllUnregisterServer());
    EXPECT_FALSE(std::filesystem::exists(file));
    EXPECT_EQ(kOk, DllUnregisterServer());  // twice is no error
    ormavec::test::WriteFile(dir / "plain", "");
    setenv("ORMAVEC_REGISTRY_FILE", (dir / "plain/registry.ini").c_str(), 1);
    EXPECT_EQ(ORMAVEC_SELFREG_E_CLASS, DllRegisterServer());
    unsetenv("ORMAVEC_REGISTRY_FILE");
    setenv("XDG_DATA_HOME", dir.path().c_str(), 1);  // without the override, the per-user data folder
    EXPECT_EQ(kOk, DllRegisterServer());
    EXPECT_TRUE(std::filesystem::exists(dir.path() / "ormavec/registry.ini"));
    EXPECT_EQ(kOk, DllUnregisterServer());
    unsetenv("XDG_DATA_HOME");
}

}  // namespace
