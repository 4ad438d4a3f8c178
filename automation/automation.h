// The automation layer inside the library: the type library (classes,
// interfaces with their late-bound members, records, enums), the handles
// that the C entry points hand out, and the conversions between the C
// variant and the model's Variant.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "automation/ormavec_automation.h"
#include "ormavec.h"

namespace ormavec::automation {

using Guid = ormavec_guid;
bool SameGuid(const Guid& a, const Guid& b) noexcept;
std::optional<Guid> ParseGuid(std::string_view text) noexcept;
std::string FormatGuid(const Guid& g);
// For the tables: a literal that must parse.
Guid G(std::string_view text);

inline constexpr int32_t kMethod = ORMAVEC_DISPATCH_METHOD, kGet = ORMAVEC_DISPATCH_PROPERTYGET,
                         kLet = ORMAVEC_DISPATCH_PROPERTYPUT, kSet = ORMAVEC_DISPATCH_PROPERTYPUTREF;

struct Param {
    std::string name;
    std::string type;
    int32_t flags = 0;  // ORMAVEC_PARAM_*
};

using Args = std::vector<Variant>;
// Runs a member on the object behind the interface; arguments flagged out are
// written back through args.
using Invoker = std::function<Variant(Object& self, Args& args)>;

struct Member {
    std::string name;
    int32_t kind = kMethod;
    int32_t dispid = 0;
    std::vector<Param> params;
    std::string result;  // empty: none
    std::string help;
    Invoker call;
};

struct Interface {
    std::string name;
    Guid iid{};
    bool isSource = false;
    std::vector<Member> members;

    // The first member with the name (any kind); -1 when none.
    int32_t IdOfName(std::string_view name) const noexcept;
    const Member* Find(int32_t dispid, int32_t kind) const noexcept;
    bool HasDispid(int32_t dispid) const noexcept;
};

struct ClassInfo {
    std::string name;
    std::string progid;
    Guid clsid{};
    const Interface* defaultInterface = nullptr;
    const Interface* sourceInterface = nullptr;
    bool creatable = true;
    std::function<std::shared_ptr<Object>()> create;
    // Collections: their generic views.
    std::function<std::shared_ptr<IArrayList>(const std::shared_ptr<Object>&)> asArrayList;
    std::function<std::shared_ptr<IComparer>(const std::shared_ptr<Object>&)> asComparer;
};

struct FieldInfo {
    std::string name;
    std::string type;
};

struct RecordInfo {
    std::string name;
    std::vector<FieldInfo> fields;
    std::function<Variant()> create;
    // Field access by name without regard to case; false for an unknown name.
    std::function<bool(const Variant& record, std::string_view field, Variant& out)> get;
    std::function<bool(Variant& record, std::string_view field, const Variant& value)> put;
};

struct EnumInfo {
    std::string name;
    std::vector<std::pair<std::string, int32_t>> values;
};

struct TypeLibrary {
    std::string name;
    uint16_t major = 0, minor = 0;
    Guid libid{};
    std::vector<std::unique_ptr<Interface>> interfaces;
    std::vector<ClassInfo> classes;
    std::vector<RecordInfo> records;
    std::vector<EnumInfo> enums;

    const ClassInfo* ClassByName(std::string_view name) const noexcept;
    const ClassInfo* ClassByClsid(const Guid& clsid) const noexcept;
    const ClassInfo* ClassByProgID(std::string_view progid) const noexcept;
    const Interface* InterfaceByName(std::string_view name) const noexcept;
    const Interface* InterfaceByIid(const Guid& iid) const noexcept;
    const RecordInfo* RecordByName(std::string_view name) const noexcept;
};

// Built once, read-only afterwards.
const TypeLibrary& Library();

// Records and arrays held by variants (records.cpp).
void AddRecordTypes(TypeLibrary& lib);
// An array of the element type ("Double", "LINE_ENT", ...); count < 0 gives
// an unallocated one. False for an unknown element type.
bool NewArray(std::string_view elementType, int32_t lowerBound, int32_t count, Variant& out);
// Element access with indexes from the lower bound; raises on a bad index.
Variant ArrayGet(const Variant& array, int32_t index);
void ArrayPut(Variant& array, int32_t index, const Variant& value);

}  // namespace ormavec::automation

// A handle handed to hosts: one interface of one object, or a class factory.
struct ormavec_object {
    std::atomic<uint32_t> refs{1};
    std::shared_ptr<ormavec::Object> object;  // the instance
    std::shared_ptr<ormavec::Object> view;    // what the interface's members act on
    const ormavec::automation::Interface* iface = nullptr;
    const ormavec::automation::ClassInfo* cls = nullptr;
    bool factory = false;
    // The document's event subscribers, shared by every handle of it.
    struct Connections;
    std::shared_ptr<Connections> events;
};

namespace ormavec::automation {

// A new handle (one reference) for an object that a member returned: the
// class's default interface, or _IArrayList / _IComparer for those views.
ormavec_object* Wrap(const std::shared_ptr<Object>& object);
// The comparer behind an argument (none for an empty one).
std::shared_ptr<IComparer> ToComparer(const Variant& v);

// C variant <-> model Variant.
Variant FromC(const ormavec_variant& v);
// out is overwritten (not cleared first).
void ToC(const Variant& v, ormavec_variant& out);

}  // namespace ormavec::automation
