// The growable array list that every collection of the model is: a 0-based
// array of value records with spare capacity kept under a tunable rule,
// typed members, and the generic IArrayList / IComparer views.
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "collections/interfaces.h"
#include "collections/segmented.h"
#include "collections/variant.h"
#include "io/error.h"
#include "io/number.h"
#include "io/text.h"

namespace ormavec {

template <class T, class Derived>
class ArrayList;

namespace detail {

[[noreturn]] void RaiseOverflow(std::string_view source);
[[noreturn]] void RaiseOutOfMemory(std::string_view source);
[[noreturn]] void RaiseChangedDuringSort(std::string_view source);
[[noreturn]] void RaiseNotShared(std::string_view source);

// Sorts positions lo..hi with a Hoare partition around a copy of the middle
// element (the middle rounded half to even). The ranges are taken in the
// order a recursive quicksort would take them (left part first), but from an
// explicit stack, so that no input can exhaust the call stack.
//
// The scans are bounded by lo and hi, tested after each comparison: a scan
// that has reached the end of the range stops there as if the comparer had
// said "not beyond the pivot". With a consistent order the bound never stops
// a scan (the pivot or the element exchanged in the previous step stops it
// first), so it sees exactly the comparisons of the unbounded algorithm; an
// inconsistent comparer (never 0 for equal records, always -1, random) cannot
// make a scan read outside lo..hi, and each part handed on is smaller than
// its range, so the sort always ends.
//
// makePivot turns the middle record into the pivot that cmp is given (a copy
// of the record, or a variant holding one for a host comparer).
template <class Store, class MakePivot, class Cmp>
void QuickSortBy(Store& a, int32_t lo0, int32_t hi0, MakePivot&& makePivot, Cmp&& cmp) {
    std::vector<std::pair<int32_t, int32_t>> stack;
    stack.emplace_back(lo0, hi0);
    while (!stack.empty()) {
        auto [lo, hi] = stack.back();
        stack.pop_back();
        const int32_t mid = static_cast<int32_t>(RoundHalfEven((static_cast<double>(lo) + static_cast<double>(hi)) / 2.0));
        const auto pivot = makePivot(a[mid]);
        int32_t i = lo, j = hi;
        // The scans walk the storage block by block instead of locating
        // every position anew; the cursors never leave lo..hi.
        auto at_i = a.begin() + i, at_j = a.begin() + j;
        while (i <= j) {
            while (cmp(*at_i, pivot) < 0) {
                if (i == hi) break;
                ++i;
                ++at_i;
            }
            while (cmp(*at_j, pivot) > 0) {
                if (j == lo) break;
                --j;
                --at_j;
            }
            if (i <= j) {
                if (i != j) std::swap(*at_i, *at_j);
                ++i;
                --j;
                if (i <= hi) ++at_i;
                if (j >= lo) --at_j;
            }
        }
        // The right part waits below the left one, as after a recursive call.
        if (i < hi) stack.emplace_back(i, hi);
        if (lo < j) stack.emplace_back(lo, j);
    }
}

template <class Store, class Cmp>
void QuickSort(Store& a, int32_t lo, int32_t hi, Cmp&& cmp) {
    QuickSortBy(a, lo, hi, [](const typename Store::value_type& r) { return r; }, cmp);
}

template <class Derived>
class ArrayListView;
template <class Derived>
class ComparerView;

}  // namespace detail

template <class T, class Derived>
class ArrayList : public Object, public std::enable_shared_from_this<Derived> {
    static_assert(!std::is_base_of_v<Object, T> && !std::is_pointer_v<T>,
                  "Object based on value type template, unable to consist of non value types!");

public:
    using value_type = T;
    static constexpr int32_t kDefaultGrowLength = 1000;

    explicit ArrayList(int32_t growLength = kDefaultGrowLength) : growLength_(growLength) {}

    std::string_view ClassName() const override { return Derived::kClassName; }

    // The record held by a variant (the class's To<record> member).
    static T ToRecord(const Variant& value) { return VariantToRecord<T>(value, Derived::kClassName); }

    int32_t Count() const noexcept { return count_; }
    int32_t Capacity() const noexcept { return capacity_; }
    int32_t LowerBound() const noexcept { return 0; }
    int32_t UpperBound() const noexcept { return count_ - 1; }
    int32_t VarType() const noexcept { return vt::Record; }

    int32_t GrowLength() const noexcept { return growLength_; }
    void SetGrowLength(int32_t value) {
        if (value < 1) RaiseError(ErrInvalidArgument, Derived::kClassName, "GrowLength value must be greater than 0");
        growLength_ = value;
    }
    float ShrinkFactor() const noexcept { return shrinkFactor_; }
    void SetShrinkFactor(float value) {
        if (!(value > 1.0f)) RaiseError(ErrInvalidArgument, Derived::kClassName, "Invalid shrink factor value,  must be greater than 1!");
        shrinkFactor_ = value;
    }

    T Item(int32_t index) const { return storage_[checkIndex(index)]; }
    // The stored record without a copy; valid until the list changes.
    const T& ItemRef(int32_t index) const { return storage_[checkIndex(index)]; }
    void LetItem(int32_t index, const T& record) { storage_[checkIndex(index)] = record; }
    // The stored record to finish in place (a reader's notes on what it
    // just added); valid until the list changes.
    T& SlotOf(int64_t index) { return storage_[checkIndex(static_cast<int32_t>(index))]; }

    void AddItem(const T& record) { Add(record); }
    void Add(const T& record) {
        if (!accepts(record)) return;
        const int32_t capacity = capacityForOneMore();
        if (static_cast<std::size_t>(count_) < storage_.size())
            storage_[count_] = record;
        else
            materialize([&] { storage_.push_back(record); });  // push_back copes with a record of ours
        capacity_ = capacity;
        ++count_;
    }
    void Add(T&& record) {
        if (!accepts(record)) return;
        const int32_t capacity = capacityForOneMore();
        if (static_cast<std::size_t>(count_) < storage_.size())
            storage_[count_] = std::move(record);
        else
            materialize([&] { storage_.push_back(std::move(record)); });
        capacity_ = capacity;
        ++count_;
    }

    void RemoveItem(int32_t index, bool keepSequence) {
        checkIndex(index);
        if (keepSequence) {
            if (index < count_ - 1) {
                std::move(storage_.begin() + index + 1, storage_.begin() + count_, storage_.begin() + index);
                // The freed slot keeps the record that was last, as a copy.
                storage_[count_ - 1] = storage_[count_ - 2];
            }
        } else if (count_ >= 2 && index != count_ - 1) {
            storage_[index] = storage_[count_ - 1];
        }
        --count_;
        Shrink(0);
    }
    void Delete(int32_t index) { RemoveItem(index, true); }

    void SetCount(int32_t newCount, bool preserveValues) {
        if (newCount < 0) RaiseError(ErrInvalidArgument, Derived::kClassName, "Minimal Count value must be greater than 0");
        if (newCount > count_ && newCount > Capacity()) {
            int64_t gap = static_cast<int64_t>(newCount) - Capacity();
            int64_t newCapacity = Capacity() + std::max<int64_t>(gap, growLength_);
            if (newCapacity > INT32_MAX) detail::RaiseOverflow(Derived::kClassName);
            const std::size_t oldSlots = storage_.size();
            if (preserveValues) {
                materialize([&] { storage_.resize(static_cast<std::size_t>(newCount)); });
            } else {
                // Grown first, so that a failure leaves the old elements.
                materialize([&] { storage_.resize(static_cast<std::size_t>(newCount)); });
                storage_.reset(oldSlots);
            }
            capacity_ = static_cast<int32_t>(newCapacity);
            count_ = newCount;
            return;
        }
        // Slots never written hold empty records; they are made only now.
        if (static_cast<std::size_t>(newCount) > storage_.size())
            materialize([&] { storage_.resize(static_cast<std::size_t>(newCount)); });
        count_ = newCount;
        Shrink(0);
    }

    void EraseArray() noexcept {
        storage_.clear();
        capacity_ = 0;
        count_ = 0;
    }

    void Shrink(int32_t destroyCache) {
        if (destroyCache != 0 || count_ == 0) {
            cutTo(count_);
            return;
        }
        double limit = static_cast<double>(count_) + static_cast<double>(growLength_) * static_cast<double>(shrinkFactor_);
        if (limit >= static_cast<double>(Capacity())) return;
        cutTo(static_cast<int32_t>(RoundHalfEven(limit)));
    }

    // No record type has an order of its own: comparing always fails.
    int16_t Compare(const T&, const T&) const { RaiseError(ErrNotSupported, Derived::kClassName, "Compare/1"); }
    bool IsEqual(const T& a, const T& b) const { return Compare(a, b) == 0; }

    bool Find(const T& value, int32_t& retIndex) const {
        for (int32_t i = 0; i < count_; ++i) {
            if (IsEqual(value, storage_[i])) {
                retIndex = i;
                return true;
            }
        }
        return false;
    }

    std::shared_ptr<Derived> Copy(std::optional<int32_t> m = {}, std::optional<int32_t> n = {}) const {
        auto [from, to] = checkRange(m, n);
        auto copy = std::make_shared<Derived>();
        copy->SetCount(to - from + 1, false);
        for (int32_t k = 0; k <= to - from; ++k) copy->storage_[k] = storage_[from + k];
        return copy;
    }

    // Sorts positions m..n with a host comparer (none: the class's own
    // comparison, which fails).
    void Sort(std::optional<int32_t> m = {}, std::optional<int32_t> n = {}, std::shared_ptr<IComparer> comparer = nullptr) {
        auto [from, to] = checkRange(m, n);
        comparer_ = std::move(comparer);
        if (comparer_) {
            // Held here too: the comparer may start another Sort of this list.
            const std::shared_ptr<IComparer> keep = comparer_;
            // Every slot exists during the sort, so that a comparer that adds
            // within the capacity leaves the storage where it is.
            if (storage_.size() < static_cast<std::size_t>(capacity_))
                materialize([&] { storage_.resize(static_cast<std::size_t>(capacity_)); });
            const uint64_t generation = storage_.generation();
            const std::size_t slots = storage_.size();
            // One variant per partition holds the pivot copy; the comparer
            // only sees it as const.
            auto makePivot = [](const T& r) { return Variant::FromRecord(r); };
            auto cmp = [&](const T& x, const Variant& pivot) {
                const int r = keep->Compare(Variant::FromRecord(x), pivot);
                // A comparer that resized the list would leave us indexing
                // storage that is gone.
                if (storage_.generation() != generation || storage_.size() != slots)
                    detail::RaiseChangedDuringSort(Derived::kClassName);
                return r;
            };
            detail::QuickSortBy(storage_, from, to, makePivot, cmp);
        } else {
            detail::QuickSort(storage_, from, to, [this](const T& x, const T& p) { return static_cast<int>(Compare(x, p)); });
        }
    }
    // The same sort with a C++ comparison, without going through variants.
    template <class Cmp>
    void SortWith(std::optional<int32_t> m, std::optional<int32_t> n, Cmp&& cmp) {
        auto [from, to] = checkRange(m, n);
        detail::QuickSort(storage_, from, to, [&cmp](const T& x, const T& p) { return static_cast<int>(cmp(x, p)); });
    }

    void SetArray(std::vector<T> items) {
        if (items.size() > static_cast<std::size_t>(INT32_MAX)) detail::RaiseOverflow(Derived::kClassName);
        SegmentedStore<T> fresh;
        materialize([&] {
            for (T& r : items) fresh.push_back(std::move(r));
        });
        storage_.swap(fresh);
        count_ = static_cast<int32_t>(storage_.size());
        capacity_ = count_;
    }
    void SetArray(const Variant& value) {
        const detail::ArrayBoxBase* info = value.ArrayInfo();
        if (!info) RaiseError(ErrInvalidArgument, Derived::kClassName);
        if (info->allocated && info->lowerBound != 0) RaiseError(ErrInvalidArgument, Derived::kClassName);
        if (const auto* typed = value.ArrayIf<T>()) {
            SetArray(info->allocated ? typed->items : std::vector<T>{});
            return;
        }
        if (const auto* variants = value.ArrayIf<Variant>()) {
            std::vector<T> items;
            if (info->allocated) {
                items.reserve(variants->items.size());
                for (const Variant& v : variants->items) items.push_back(ToRecord(v));
            }
            SetArray(std::move(items));
            return;
        }
        // An array of another element type does not convert, even without
        // elements.
        RaiseTypeMismatch(Derived::kClassName, value, TypeNameOf<T>::value);
    }
    std::vector<T> GetArray() const { return std::vector<T>(storage_.begin(), storage_.begin() + count_); }

    const std::shared_ptr<IComparer>& LastComparer() const noexcept { return comparer_; }
    // Bytes held for the slots (not what the records point to).
    std::size_t StorageBytes() const noexcept { return storage_.allocatedBytes(); }

    // Iteration over the elements 0 .. Count - 1, without copies.
    using const_iterator = typename SegmentedStore<T>::const_iterator;
    const_iterator begin() const noexcept { return storage_.begin(); }
    const_iterator end() const noexcept { return storage_.begin() + count_; }

    std::shared_ptr<IArrayList> AsIArrayList();
    std::shared_ptr<IComparer> AsIComparer();

protected:
    // Name-keyed collections drop a record whose name is already present.
    virtual bool accepts(const T&) const { return true; }

private:
    template <class D>
    friend class detail::ArrayListView;

    int32_t checkIndex(int32_t index) const {
        if (index < 0 || index > count_ - 1) RaiseError(ErrInvalidArgument, Derived::kClassName);
        return index;
    }
    std::pair<int32_t, int32_t> checkRange(std::optional<int32_t> m, std::optional<int32_t> n) const {
        int32_t from = m ? *m : LowerBound();
        int32_t to = n ? *n : UpperBound();
        if (from > to || from < 0 || to > UpperBound()) RaiseError(ErrInvalidArgument, Derived::kClassName);
        return {from, to};
    }
    // The capacity after appending one record.
    int32_t capacityForOneMore() const {
        if (count_ == INT32_MAX) detail::RaiseOverflow(Derived::kClassName);
        if (count_ + 1 <= capacity_) return capacity_;
        const int64_t grown = static_cast<int64_t>(capacity_) + growLength_;
        if (grown > INT32_MAX) detail::RaiseOverflow(Derived::kClassName);
        return static_cast<int32_t>(grown);
    }
    // Runs a change that allocates slots.
    template <class Fn>
    void materialize(Fn&& fn) {
        try {
            fn();
        } catch (const std::bad_alloc&) {
            detail::RaiseOutOfMemory(Derived::kClassName);
        }
    }
    void cutTo(int32_t slots) {
        capacity_ = slots;
        if (slots == 0) {
            storage_.clear();
            return;
        }
        // Frees the blocks past the kept slots; nothing moves.
        if (storage_.size() > static_cast<std::size_t>(slots)) storage_.resize(static_cast<std::size_t>(slots));
    }

    // Slots 0 .. count_ - 1 are in use; the slots up to capacity_ exist only
    // once written (the rest hold empty records), so that spare capacity
    // costs no memory: count_ <= storage_.size() <= capacity_.
    SegmentedStore<T> storage_;
    int32_t capacity_ = 0;
    int32_t count_ = 0;
    int32_t growLength_;
    float shrinkFactor_ = 1.5f;
    std::shared_ptr<IComparer> comparer_;
};

// A collection whose records are keyed by a name, unique without regard to
// letter case: Derived defines static std::string_view NameOf(const T&).
template <class T, class Derived>
class NamedArrayList : public ArrayList<T, Derived> {
public:
    using ArrayList<T, Derived>::ArrayList;

    int32_t IndexOfName(std::string_view name) const {
        int32_t i = 0;
        for (const T& r : *this) {
            if (EqualsNoCase(Derived::NameOf(r), name)) return i;
            ++i;
        }
        return -1;
    }
    bool DeleteByName(std::string_view name) {
        int32_t i = IndexOfName(name);
        if (i < 0) return false;
        this->Delete(i);
        return true;
    }
    bool ItemByName(std::string_view name, T& returnElem) const {
        int32_t i = IndexOfName(name);
        if (i < 0) return false;
        returnElem = this->Item(i);
        return true;
    }
    void Clear() noexcept { this->EraseArray(); }

protected:
    bool accepts(const T& record) const override { return IndexOfName(Derived::NameOf(record)) < 0; }
};

namespace detail {

template <class Derived>
class ArrayListView final : public IArrayList {
public:
    using T = typename Derived::value_type;
    explicit ArrayListView(std::shared_ptr<Derived> list) : list_(std::move(list)) {}

    void SetArray(const Variant& value) override { list_->SetArray(value); }
    Variant GetArray() const override {
        if (list_->Count() == 0) return Variant::UnallocatedArray<T>();
        return Variant::FromArray<T>(list_->GetArray());
    }
    std::shared_ptr<IArrayList> Copy(const Variant& m, const Variant& n) const override {
        std::optional<int32_t> from, to;
        if (!m.IsEmpty()) from = m.ToInt32();
        if (!n.IsEmpty()) to = n.ToInt32();
        return list_->Copy(from, to)->AsIArrayList();
    }
    void SetShrinkFactor(float value) override { list_->SetShrinkFactor(value); }
    float ShrinkFactor() const override { return list_->ShrinkFactor(); }
    int32_t LowerBound() const override { return list_->LowerBound(); }
    int32_t UpperBound() const override { return list_->UpperBound(); }
    void SetGrowLength(int32_t value) override { list_->SetGrowLength(value); }
    int32_t GrowLength() const override { return list_->GrowLength(); }
    void Shrink(int32_t destroyCache) override { list_->Shrink(destroyCache); }
    void EraseArray() override { list_->EraseArray(); }
    void SetCount(int32_t count, bool preserveValues) override { list_->SetCount(count, preserveValues); }
    int32_t Count() const override { return list_->Count(); }
    void AddItem(const Variant& value) override { list_->AddItem(Derived::ToRecord(value)); }
    void RemoveItem(int32_t index, bool keepSequence) override { list_->RemoveItem(index, keepSequence); }
    void LetItem(int32_t index, const Variant& value) override { list_->LetItem(index, Derived::ToRecord(value)); }
    void SetItem(int32_t, const Variant&) override {
        RaiseError(ErrNotSupported, Derived::kClassName, "Value type container does not support Set statement!");
    }
    Variant Item(int32_t index) const override { return Variant::FromRecord<T>(list_->Item(index)); }
    bool Find(const Variant& value, int32_t& retIndex) const override { return list_->Find(Derived::ToRecord(value), retIndex); }
    int32_t VarType() const override { return list_->VarType(); }
    std::shared_ptr<IArrayList> CreateNew() const override { return std::make_shared<Derived>()->AsIArrayList(); }
    void Sort(int32_t m, int32_t n, std::shared_ptr<IComparer> comparer) override { list_->Sort(m, n, std::move(comparer)); }
    std::shared_ptr<Object> Target() const override { return list_; }
    std::string_view ClassName() const override { return Derived::kClassName; }

private:
    std::shared_ptr<Derived> list_;
};

template <class Derived>
class ComparerView final : public IComparer {
public:
    explicit ComparerView(std::shared_ptr<Derived> list) : list_(std::move(list)) {}
    int16_t Compare(const Variant& a, const Variant& b) override {
        return list_->Compare(Derived::ToRecord(a), Derived::ToRecord(b));
    }
    std::string_view ClassName() const override { return Derived::kClassName; }

private:
    std::shared_ptr<Derived> list_;
};

}  // namespace detail

template <class T, class Derived>
std::shared_ptr<IArrayList> ArrayList<T, Derived>::AsIArrayList() {
    auto self = this->weak_from_this().lock();
    if (!self) detail::RaiseNotShared(Derived::kClassName);
    return std::make_shared<detail::ArrayListView<Derived>>(std::move(self));
}

template <class T, class Derived>
std::shared_ptr<IComparer> ArrayList<T, Derived>::AsIComparer() {
    auto self = this->weak_from_this().lock();
    if (!self) detail::RaiseNotShared(Derived::kClassName);
    return std::make_shared<detail::ComparerView<Derived>>(std::move(self));
}

// Declares a collection class over a record: the template instantiated for
// one row of the family, with its class name.
#define ORMAVEC_COLLECTION(Name, Record, InitialGrowLength)                       \
    class Name final : public ::ormavec::ArrayList<Record, Name> {                 \
    public:                                                                        \
        static constexpr std::string_view kClassName = #Name;                      \
        Name() : ::ormavec::ArrayList<Record, Name>(InitialGrowLength) {}          \
    }

}  // namespace ormavec
