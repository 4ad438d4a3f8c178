// The generic interfaces every collection offers besides its typed members.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "collections/variant.h"

namespace ormavec {

// Orders two values for a sort: below 0, a sorts before b; 0 equal; above 0
// after. Only the sign is used.
class IComparer : public Object {
public:
    virtual int16_t Compare(const Variant& a, const Variant& b) = 0;
    std::string_view ClassName() const override { return "IComparer"; }
};

// Every collection, seen through values of type Variant.
class IArrayList : public Object {
public:
    virtual void SetArray(const Variant& value) = 0;
    virtual Variant GetArray() const = 0;
    virtual std::shared_ptr<IArrayList> Copy(const Variant& m = {}, const Variant& n = {}) const = 0;
    virtual void SetShrinkFactor(float value) = 0;
    virtual float ShrinkFactor() const = 0;
    virtual int32_t LowerBound() const = 0;
    virtual int32_t UpperBound() const = 0;
    virtual void SetGrowLength(int32_t value) = 0;
    virtual int32_t GrowLength() const = 0;
    virtual void Shrink(int32_t destroyCache) = 0;
    virtual void EraseArray() = 0;
    virtual void SetCount(int32_t count, bool preserveValues) = 0;
    virtual int32_t Count() const = 0;
    virtual void AddItem(const Variant& value) = 0;
    virtual void RemoveItem(int32_t index, bool keepSequence) = 0;
    virtual void LetItem(int32_t index, const Variant& value) = 0;
    // Storing by reference: always refused, the list holds values.
    virtual void SetItem(int32_t index, const Variant& value) = 0;
    virtual Variant Item(int32_t index) const = 0;
    virtual bool Find(const Variant& value, int32_t& retIndex) const = 0;
    virtual int32_t VarType() const = 0;
    virtual std::shared_ptr<IArrayList> CreateNew() const = 0;
    virtual void Sort(int32_t m, int32_t n, std::shared_ptr<IComparer> comparer) = 0;
    // The collection behind the interface (for hosts that know its class).
    virtual std::shared_ptr<Object> Target() const = 0;
    std::string_view ClassName() const override { return "IArrayList"; }
};

// The creatable stand-ins for the two interfaces: every member does nothing
// and returns zero, false, an empty value or no object.
class NullArrayList final : public IArrayList {
public:
    void SetArray(const Variant&) override {}
    Variant GetArray() const override { return {}; }
    std::shared_ptr<IArrayList> Copy(const Variant&, const Variant&) const override { return nullptr; }
    void SetShrinkFactor(float) override {}
    float ShrinkFactor() const override { return 0; }
    int32_t LowerBound() const override { return 0; }
    int32_t UpperBound() const override { return 0; }
    void SetGrowLength(int32_t) override {}
    int32_t GrowLength() const override { return 0; }
    void Shrink(int32_t) override {}
    void EraseArray() override {}
    void SetCount(int32_t, bool) override {}
    int32_t Count() const override { return 0; }
    void AddItem(const Variant&) override {}
    void RemoveItem(int32_t, bool) override {}
    void LetItem(int32_t, const Variant&) override {}
    void SetItem(int32_t, const Variant&) override {}
    Variant Item(int32_t) const override { return {}; }
    bool Find(const Variant&, int32_t&) const override { return false; }
    int32_t VarType() const override { return 0; }
    std::shared_ptr<IArrayList> CreateNew() const override { return nullptr; }
    void Sort(int32_t, int32_t, std::shared_ptr<IComparer>) override {}
    std::shared_ptr<Object> Target() const override { return nullptr; }
};

class NullComparer final : public IComparer {
public:
    int16_t Compare(const Variant&, const Variant&) override { return 0; }
};

}  // namespace ormavec
