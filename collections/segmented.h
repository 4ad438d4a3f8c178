// Element storage in blocks that never move once allocated: growing the store
// allocates a new block and leaves every element where it is, so a large list
// never holds its records twice and references to elements stay valid while
// the store grows.
//
// The first block holds about 64 bytes of elements (at least one element), each
// further block twice as many as the one before, up to blocks of about 64 KiB;
// from there on every block has that size. Block sizes are powers of two, so
// that an index is split into block and offset with shifts and a bit width.
#pragma once

#include <algorithm>
#include <bit>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

namespace ormavec {

template <class T>
class SegmentedStore {
    static constexpr unsigned log2Floor(std::size_t v) { return static_cast<unsigned>(std::bit_width(v) - 1); }

public:
    static constexpr std::size_t kFirstBlockBytes = 64;
    static constexpr std::size_t kMaxBlockBytes = 64 * 1024;

    // Elements in the first block and in every block once the sizes stop growing.
    static constexpr unsigned kFirstShift = log2Floor(std::max<std::size_t>(1, kFirstBlockBytes / sizeof(T)));
    static constexpr unsigned kMaxShift = std::max(kFirstShift, log2Floor(std::max<std::size_t>(1, kMaxBlockBytes / sizeof(T))));
    static constexpr std::size_t kFirstBlock = std::size_t{1} << kFirstShift;
    static constexpr std::size_t kMaxBlock = std::size_t{1} << kMaxShift;
    // Blocks of growing size, and the elements they hold together.
    static constexpr std::size_t kGrowingBlocks = kMaxShift - kFirstShift + 1;
    static constexpr std::size_t kGrowingSlots = (kMaxBlock << 1) - kFirstBlock;

    template <bool Const>
    class Iterator;
    using value_type = T;
    using size_type = std::size_t;
    using iterator = Iterator<false>;
    using const_iterator = Iterator<true>;

    SegmentedStore() noexcept = default;
    SegmentedStore(const SegmentedStore&) = delete;
    SegmentedStore& operator=(const SegmentedStore&) = delete;
    SegmentedStore(SegmentedStore&& other) noexcept { swap(other); }
    SegmentedStore& operator=(SegmentedStore&& other) noexcept {
        if (this != &other) {
            clear();
            swap(other);
        }
        return *this;
    }
    ~SegmentedStore() { clear(); }

    void swap(SegmentedStore& other) noexcept {
        blocks_.swap(other.blocks_);
        std::swap(size_, other.size_);
        std::swap(generation_, other.generation_);
    }

    std::size_t size() const noexcept { return size_; }
    bool empty() const noexcept { return size_ == 0; }
    // Element slots of the allocated blocks.
    std::size_t capacity() const noexcept { return slotsBefore(blocks_.size()); }
    std::size_t blockCount() const noexcept { return blocks_.size(); }
    // Bytes held in blocks and in the block table.
    std::size_t allocatedBytes() const noexcept {
        return capacity() * sizeof(T) + blocks_.capacity() * sizeof(T*);
    }
    // Changes whenever a block is allocated or freed, so that a caller can
    // tell that the storage under its indexes was replaced.
    uint64_t generation() const noexcept { return generation_; }

    T& operator[](std::size_t i) noexcept { return *slot(i); }
    const T& operator[](std::size_t i) const noexcept { return *slot(i); }

    iterator begin() noexcept { return iterator(this, 0); }
    iterator end() noexcept { return iterator(this, static_cast<std::ptrdiff_t>(size_)); }
    const_iterator begin() const noexcept { return const_iterator(this, 0); }
    const_iterator end() const noexcept { return const_iterator(this, static_cast<std::ptrdiff_t>(size_)); }

    void push_back(const T& value) { emplace_back(value); }
    void push_back(T&& value) { emplace_back(std::move(value)); }
    // The new element may be built from an element of this store: blocks do
    // not move when a new one is added.
    template <class... Args>
    T& emplace_back(Args&&... args) {
        const bool fresh = size_ == capacity();
        if (fresh) addBlock();
        T* p = slot(size_);
        try {
            ::new (static_cast<void*>(p)) T(std::forward<Args>(args)...);
        } catch (...) {
            if (fresh) freeBlocksFrom(blocks_.size() - 1);
            throw;
        }
        ++size_;
        return *p;
    }

    // Grows with empty elements or cuts to n elements; cutting frees the
    // blocks no longer used. A failed growth leaves the store as it was.
    void resize(std::size_t n) {
        if (n < size_) {
            destroyFrom(n);
            freeBlocksFrom(blocksFor(n));
            return;
        }
        const std::size_t oldSize = size_;
        const std::size_t oldBlocks = blocks_.size();
        try {
            reserveBlocks(blocksFor(n));
            while (blocks_.size() < blocksFor(n)) addBlock();
            for (; size_ < n; ++size_) ::new (static_cast<void*>(slot(size_))) T();
        } catch (...) {
            destroyFrom(oldSize);
            freeBlocksFrom(oldBlocks);
            throw;
        }
    }

    // Makes elements 0 .. n - 1 empty ones again, releasing what they held.
    void reset(std::size_t n) noexcept {
        static_assert(std::is_nothrow_default_constructible_v<T>);
        for (std::size_t i = 0; i < std::min(n, size_); ++i) {
            T* p = slot(i);
            std::destroy_at(p);
            ::new (static_cast<void*>(p)) T();
        }
    }

    // Destroys every element and frees every block.
    void clear() noexcept {
        destroyFrom(0);
        freeBlocksFrom(0);
        std::vector<T*>().swap(blocks_);
    }

    // Blocks needed for n elements.
    static constexpr std::size_t blocksFor(std::size_t n) noexcept {
        if (n == 0) return 0;
        if (n <= kGrowingSlots) return std::bit_width((n - 1 + kFirstBlock) >> kFirstShift);
        return kGrowingBlocks + ((n - kGrowingSlots + kMaxBlock - 1) >> kMaxShift);
    }
    // Elements held by blocks 0 .. b - 1.
    static constexpr std::size_t slotsBefore(std::size_t b) noexcept {
        if (b <= kGrowingBlocks) return (kFirstBlock << b) - kFirstBlock;
        return kGrowingSlots + ((b - kGrowingBlocks) << kMaxShift);
    }
    static constexpr std::size_t blockSize(std::size_t b) noexcept {
        return b < kGrowingBlocks ? kFirstBlock << b : kMaxBlock;
    }

    // Keeps a pointer into the current block, so that stepping costs what
    // it costs in an array and only crossing into another block looks the
    // position up again. Positions are compared by index.
    template <bool Const>
    class Iterator {
        using Store = std::conditional_t<Const, const SegmentedStore, SegmentedStore>;

    public:
        using iterator_category = std::random_access_iterator_tag;
        using iterator_concept = std::random_access_iterator_tag;
        using value_type = T;
        using difference_type = std::ptrdiff_t;
        using pointer = std::conditional_t<Const, const T*, T*>;
        using reference = std::conditional_t<Const, const T&, T&>;

        Iterator() noexcept = default;
        Iterator(Store* store, difference_type index) noexcept : store_(store) { seek(index); }
        // A mutable iterator converts to a const one.
        template <bool C = Const, class = std::enable_if_t<C>>
        Iterator(const Iterator<false>& o) noexcept
            : store_(o.store_), index_(o.index_), p_(o.p_), begin_(o.begin_), end_(o.end_) {}

        reference operator*() const noexcept { return *p_; }
        pointer operator->() const noexcept { return p_; }
        reference operator[](difference_type n) const noexcept { return (*store_)[static_cast<std::size_t>(index_ + n)]; }

        Iterator& operator++() noexcept {
            ++index_;
            if (++p_ == end_) seek(index_);
            return *this;
        }
        Iterator operator++(int) noexcept {
            Iterator t = *this;
            ++*this;
            return t;
        }
        Iterator& operator--() noexcept {
            --index_;
            if (p_ == begin_)
                seek(index_);
            else
                --p_;
            return *this;
        }
        Iterator operator--(int) noexcept {
            Iterator t = *this;
            --*this;
            return t;
        }
        Iterator& operator+=(difference_type n) noexcept {
            // Within the current block the pointer just moves.
            if (p_ && n >= begin_ - p_ && n < end_ - p_) {
                index_ += n;
                p_ += n;
            } else {
                seek(index_ + n);
            }
            return *this;
        }
        Iterator& operator-=(difference_type n) noexcept { return *this += -n; }
        friend Iterator operator+(Iterator it, difference_type n) noexcept { return it += n; }
        friend Iterator operator+(difference_type n, Iterator it) noexcept { return it += n; }
        friend Iterator operator-(Iterator it, difference_type n) noexcept { return it -= n; }
        friend difference_type operator-(const Iterator& a, const Iterator& b) noexcept { return a.index_ - b.index_; }
        friend bool operator==(const Iterator& a, const Iterator& b) noexcept { return a.index_ == b.index_; }
        friend auto operator<=>(const Iterator& a, const Iterator& b) noexcept { return a.index_ <=> b.index_; }

        difference_type index() const noexcept { return index_; }

    private:
        friend class Iterator<!Const>;
        void seek(difference_type index) noexcept {
            index_ = index;
            std::size_t b = 0, offset = 0;
            // Positions outside the blocks (before the first, past the last)
            // exist only to be compared or stepped back from.
            if (index >= 0) locate(static_cast<std::size_t>(index), b, offset);
            if (index < 0 || b >= store_->blocks_.size()) {
                p_ = begin_ = end_ = nullptr;
                return;
            }
            begin_ = store_->blocks_[b];
            end_ = begin_ + blockSize(b);
            p_ = begin_ + offset;
        }

        Store* store_ = nullptr;
        difference_type index_ = 0;
        T* p_ = nullptr;
        T* begin_ = nullptr;
        T* end_ = nullptr;
    };

private:
    static void locate(std::size_t i, std::size_t& block, std::size_t& offset) noexcept {
        if (i < kGrowingSlots) {
            // Block b starts at kFirstBlock * (2^b - 1): with j = i + kFirstBlock
            // the block is the top bit of j and the offset the bits below it.
            const std::size_t j = i + kFirstBlock;
            const unsigned top = static_cast<unsigned>(std::bit_width(j) - 1);
            block = top - kFirstShift;
            offset = j ^ (std::size_t{1} << top);
            return;
        }
        const std::size_t r = i - kGrowingSlots;
        block = kGrowingBlocks + (r >> kMaxShift);
        offset = r & (kMaxBlock - 1);
    }

    T* slot(std::size_t i) const noexcept {
        std::size_t b, offset;
        locate(i, b, offset);
        return blocks_[b] + offset;
    }

    void reserveBlocks(std::size_t n) {
        if (n > blocks_.capacity()) blocks_.reserve(std::max(n, 2 * blocks_.capacity()));
    }
    void addBlock() {
        reserveBlocks(blocks_.size() + 1);
        const std::size_t n = blockSize(blocks_.size());
        T* block = allocateBlock(n);
        blocks_.push_back(block);  // cannot fail: reserved above
        ++generation_;
    }
    // Large blocks start on a cache line, so that no record of a size that
    // is a multiple of one straddles an extra line; small ones are not
    // padded for it.
    static constexpr std::size_t kLineBytes = 64;
    static constexpr bool lineAligned(std::size_t n) noexcept { return n * sizeof(T) >= 4096 && alignof(T) <= kLineBytes; }
    static T* allocateBlock(std::size_t n) {
        if (lineAligned(n)) return static_cast<T*>(::operator new(n * sizeof(T), std::align_val_t{kLineBytes}));
        return std::allocator<T>().allocate(n);
    }
    static void freeBlock(T* block, std::size_t n) noexcept {
        if (lineAligned(n))
            ::operator delete(block, std::align_val_t{kLineBytes});  // unsized: clang declares no sized form by default
        else
            std::allocator<T>().deallocate(block, n);
    }
    void destroyFrom(std::size_t n) noexcept {
        if constexpr (!std::is_trivially_destructible_v<T>) {
            while (size_ > n) slot(--size_)->~T();
        }
        size_ = std::min(size_, n);
    }
    void freeBlocksFrom(std::size_t b) noexcept {
        while (blocks_.size() > b) {
            freeBlock(blocks_.back(), blockSize(blocks_.size() - 1));
            blocks_.pop_back();
            ++generation_;
        }
    }

    std::vector<T*> blocks_;
    std::size_t size_ = 0;
    uint64_t generation_ = 0;
};

}  // namespace ormavec
