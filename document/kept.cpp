#include "document/kept.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <cstring>
#include <unordered_map>

#include "document/save_context.h"
#include "io/fields.h"
#include "io/number.h"

namespace ormavec {

uint32_t RawEntity::Handle(int32_t code) const noexcept {
    for (const DxfEntry& p : Pairs)
        if (p.Code == code) return ParseHandle(p.Value);
    return 0;
}

uint32_t KeptEntities::MaxHandle(int32_t handleCode) const noexcept {
    uint32_t m = 0;
    for (const RawEntity& e : items_) {
        bool ownerSeen = false, inClass = false;
        for (const DxfEntry& p : e.Pairs) {
            const int32_t c = p.Code;
            inClass = inClass || c == 100;
            // The owner is not kept: a save writes its own.
            if (c == 330 && !inClass && !ownerSeen) {
                ownerSeen = true;
                continue;
            }
            if (c == handleCode || (c >= 320 && c <= 369) || (c >= 390 && c <= 399) || c == 480 || c == 481 || c == 1005)
                m = std::max(m, ParseHandle(p.Value));
        }
    }
    // Typed records: their own handles, and what their kept pairs point to.
    m = std::max(m, maxTyped_);
    for (const std::vector<KeptPair>& chunk : extrasChunks_)
        for (const KeptPair& p : chunk) {
            const int32_t c = p.Code;
            if ((c >= 320 && c <= 369) || (c >= 390 && c <= 399) || c == 480 || c == 481 || c == 1005) m = std::max(m, ParseHandle(p.Value()));
        }
    return m;
}

namespace {
// Group codes of real numbers.
bool realCode(int32_t c) noexcept {
    return (c >= 10 && c <= 59) || (c >= 110 && c <= 149) || (c >= 210 && c <= 239) || (c >= 460 && c <= 469) || (c >= 1010 && c <= 1059);
}

// The pair as a number when its text is the value written with the text's
// own decimals; otherwise a pair without the number flag.
KeptPair keptNumber(int32_t code, std::string_view text) noexcept {
    KeptPair p{code, 0, {nullptr}};
    if (!realCode(code) || text.empty() || text.size() > 24) return p;
    const std::size_t point = text.find('.');
    const std::size_t decimals = point == std::string_view::npos ? 0 : text.size() - point - 1;
    for (std::size_t i = 0; i < text.size(); ++i)
        if (!(text[i] >= '0' && text[i] <= '9') && !(i == 0 && text[i] == '-') && i != point) return p;
    double v = 0;
    if (ParseDouble(text, v) != ParseStatus::Ok) return p;
    KeptPair n{code, KeptPair::kNumber | (point != std::string_view::npos ? KeptPair::kPoint : 0) | static_cast<uint32_t>(decimals), {nullptr}};
    n.Num = v;
    char buf[48];
    return n.Format(buf) == text ? n : p;
}
}  // namespace

std::string_view KeptPair::Format(char (&buf)[48]) const noexcept {
    if (!IsNumber()) return Value();
    const int decimals = static_cast<int>(Size & (kPoint - 1));
    char* end = std::to_chars(buf, buf + sizeof buf - 1, Num, std::chars_format::fixed, decimals).ptr;
    if ((Size & kPoint) && decimals == 0) *end++ = '.';
    return {buf, static_cast<std::size_t>(end - buf)};
}

double KeptPair::Number() const noexcept {
    if (IsNumber()) return Num;
    double v = 0;
    return ParseDouble(Value(), v) == ParseStatus::Ok ? v : 0;
}

void KeptEntities::KeepTyped(uint32_t place, uint32_t handle, std::vector<DxfEntry>* extras) {
    if (const uint32_t h = handle) {
        maxTyped_ = std::max(maxTyped_, h);
        HandleRun* last = handles_.empty() ? nullptr : &handles_.back();
        if (last && place == last->place + last->count && h == last->handle + last->count)
            ++last->count;
        else
            handles_.push_back({place, h, 1});
    }
    if (!extras || extras->empty()) return;
    const std::size_t n = extras->size();
    const bool inOrder = extras_.empty() || extras_.back().place < place;
    if (extrasChunks_.empty() || chunkClosed_ || !inOrder || extrasChunks_.back().capacity() - extrasChunks_.back().size() < n) {
        // Chunks grow from small ones: a block's set often keeps a few pairs.
        const std::size_t grown = std::min(kExtrasChunk, std::size_t{16} << std::min<std::size_t>(extrasChunks_.size(), 8));
        extrasChunks_.emplace_back().reserve(inOrder ? std::max(grown, n) : n);
        // One larger than a chunk, or aside, is the only one in its chunk.
        chunkClosed_ = !inOrder || n > kExtrasChunk;
    }
    std::vector<KeptPair>& chunk = extrasChunks_.back();
    const auto begin = static_cast<uint32_t>(chunk.size());
    int32_t after = -1;  // an anchor entry not yet written: folded into the pair after it
    for (const DxfEntry& e : *extras) {
        if (e.Code < 0 && e.Value.empty() && -1 - e.Code != 100 && -1 - e.Code < static_cast<int32_t>(KeptPair::kAfterCodes)) {
            after = -1 - e.Code;
            continue;
        }
        KeptPair p = keptNumber(e.Code, e.Value);
        if (!p.IsNumber()) p = {e.Code, static_cast<uint32_t>(e.Value.size()), {storeText(e.Value)}};
        if (after >= 0) {
            if (p.IsNumber() || p.Size < (1u << KeptPair::kAfterShift))
                p.Size |= KeptPair::kAfter | static_cast<uint32_t>(after) << KeptPair::kAfterShift;
            else
                chunk.push_back({-1 - after, 0, {""}});
            after = -1;
        }
        chunk.push_back(p);
    }
    extras->clear();  // the reader's buffer keeps its room for the next record
    const uint32_t where = static_cast<uint32_t>(extrasChunks_.size() - 1) << kBeginBits | begin;
    if (inOrder) return extras_.push_back({place, where});
    extrasAside_[place] = where;
}

const char* KeptEntities::storeText(std::string_view text) {
    if (text.empty()) return "";
    const bool recent = text.size() <= 32;
    if (recent)
        for (std::string_view r : recentTexts_)
            if (r == text) return r.data();
    if (text.size() > 64) {
        // A long text gets a piece of its own; the current one stays open.
        std::shared_ptr<char[]> own(new char[text.size()]);
        std::memcpy(own.get(), text.data(), text.size());
        textPieces_.insert(textPieces_.end() - (textPieces_.empty() ? 0 : 1), own);
        return own.get();
    }
    if (textSize_ - textUsed_ < text.size()) {
        textSize_ = std::min(kTextPiece, std::size_t{256} << std::min<std::size_t>(textPieces_.size(), 8));
        textPieces_.emplace_back(new char[textSize_]);
        textUsed_ = 0;
    }
    char* at = textPieces_.back().get() + textUsed_;
    std::memcpy(at, text.data(), text.size());
    textUsed_ += text.size();
    if (recent) recentTexts_[recentNext_++ % recentTexts_.size()] = std::string_view(at, text.size());
    return at;
}

std::span<const KeptPair> KeptEntities::ExtrasOf(uint32_t place) const noexcept {
    constexpr uint32_t kBegin = (1u << kBeginBits) - 1;
    const auto run = [&](uint32_t where, uint32_t end) {
        const std::vector<KeptPair>& chunk = extrasChunks_[where >> kBeginBits];
        const uint32_t begin = where & kBegin;
        return std::span<const KeptPair>(chunk).subspan(begin, std::min<std::size_t>(end, chunk.size()) - begin);
    };
    if (!extrasAside_.empty())
        if (const auto aside = extrasAside_.find(place); aside != extrasAside_.end()) return run(aside->second, UINT32_MAX);
    const auto it = std::lower_bound(extras_.begin(), extras_.end(), place, [](const ExtrasAt& x, uint32_t p) { return x.place < p; });
    if (it == extras_.end() || it->place != place) return {};
    const auto next = it + 1;
    return run(it->where, next != extras_.end() && next->where >> kBeginBits == it->where >> kBeginBits ? next->where & kBegin : UINT32_MAX);
}

std::vector<DxfEntry> KeptEntities::PairsOf(uint32_t place) const {
    std::vector<DxfEntry> out;
    if (place == 0) return out;
    char buf[48];
    for (const KeptPair& p : ExtrasOf(place))
        if (p.Code >= 0 && p.Code < kKeptOwnCode) out.push_back({p.Code, std::string(p.Format(buf))});  // anchors only place a run
    return out;
}

uint32_t KeptEntities::HandleOf(uint32_t place) const noexcept {
    // Runs are in increasing place order, as read.
    auto it = std::upper_bound(handles_.begin(), handles_.end(), place, [](uint32_t p, const HandleRun& r) { return p < r.place; });
    if (it == handles_.begin()) return 0;
    --it;
    return place - it->place < it->count ? it->handle + (place - it->place) : 0;
}

uint32_t TakePlaces(uint32_t n) noexcept {
    static std::atomic<uint32_t> next{1};
    uint32_t first = next.fetch_add(n, std::memory_order_relaxed);
    while (first == 0 || first > UINT32_MAX - n) first = next.fetch_add(n, std::memory_order_relaxed);  // 0 is no place
    return first;
}
uint32_t ParseHandle(std::string_view text) noexcept {
    uint32_t v = 0;
    if (text.empty() || text.size() > 8) return 0;
    for (char c : text) {
        const int d = c >= '0' && c <= '9' ? c - '0' : c >= 'A' && c <= 'F' ? c - 'A' + 10 : c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
        if (d < 0) return 0;
        v = v * 16 + static_cast<uint32_t>(d);
    }
    return v > 0x7FFFFFFF ? 0 : v;
}

void KeptEntities::Read(DXFReader& reader, std::string_view name, uint32_t place) {
    RawEntity& e = items_.emplace_back();
    e.Name.assign(name);  // before the next read, which moves the view
    e.Place = place;
    while (!reader.AtEnd()) {
        const DXFReader::Pair& p = reader.Read();
        if (p.Code == 0) {
            reader.UnRead();
            break;
        }
        e.Pairs.push_back({p.Code, std::string(reader.WithText().Value)});
    }
}

int32_t KeptEntities::Write(SaveContext& save, const RawEntity& e, int32_t handleCode) {
    DXFWriter& w = save.Writer();
    w.WriteString(0, e.Name);
    // Handle and owner come first; the owner is the save's.
    const int32_t written = save.KeepHandle(e.Handle(handleCode));
    w.WriteHandle(handleCode, written);
    if (save.Owner() == save.modelSpaceRecord && save.paperSpaceRecord && fields_detail::InPaperSpace(e.Pairs))
        w.WriteHandle(330, save.paperSpaceRecord);
    else
        save.WriteOwner();
    bool ownerSeen = false, inClass = false;
    const std::vector<DxfEntry>& pairs = e.Pairs;
    // An entry read from a drawing without subclass markers gets its table's.
    if (!save.entrySubclass.empty() && std::none_of(pairs.begin(), pairs.end(), [](const DxfEntry& p) { return p.Code == 100; })) {
        w.WriteString(100, "AcDbSymbolTableRecord");
        w.WriteString(100, save.entrySubclass);
    }
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        const DxfEntry& p = pairs[i];
        if (p.Code == 100) inClass = true;
        if (!inClass && (p.Code == handleCode || (p.Code == 330 && !ownerSeen))) {
            ownerSeen = ownerSeen || p.Code == 330;
            continue;
        }
        // Reactors and extension dictionaries point into objects, which a
        // save writes only when the drawing's were kept.
        if (!save.objectsKept && p.Code == 102 && (p.Value == "{ACAD_REACTORS" || p.Value == "{ACAD_XDICTIONARY")) {
            while (i + 1 < pairs.size() && !(pairs[i].Code == 102 && pairs[i].Value == "}")) ++i;
            continue;
        }
        w.WriteString(p.Code, p.Value);
    }
    return written;
}

namespace {
// The owner an object names (its first 330 before a subclass marker), 0 for none.
uint32_t ownerOf(const RawEntity& e) noexcept {
    for (const DxfEntry& p : e.Pairs) {
        if (p.Code == 100) break;
        if (p.Code == 330) return ParseHandle(p.Value);
    }
    return 0;
}

// Walks an object's pairs with the subclass each is in, telling a group's
// member pointers (340 under AcDbGroup) and a dictionary's entries (a 3 name
// and its 350/360 under AcDbDictionary) apart.
template <class F>
void forEachPointer(const RawEntity& e, F&& f) {
    const bool group = EqualsNoCase(e.Name, "GROUP");
    std::string_view marker;
    for (std::size_t i = 0; i < e.Pairs.size(); ++i) {
        const DxfEntry& p = e.Pairs[i];
        if (p.Code == 100) marker = p.Value;
        const bool member = group && p.Code == 340 && EqualsNoCase(marker, "AcDbGroup");
        const bool entry = (p.Code == 350 || p.Code == 360) && i > 0 && e.Pairs[i - 1].Code == 3 && EqualsNoCase(marker, "AcDbDictionary");
        f(i, member, entry);
    }
}

class ObjectsWritten {
public:
    // Objects whose owner the save did not write (an entity the host deleted
    // or one written under a new handle), groups whose every member the host
    // deleted, and what these own in turn: left out, so that no object names
    // a missing owner, and dictionaries drop their entries for them.
    ObjectsWritten(const SaveContext& save, const std::vector<RawEntity>& objects) : left_(objects.size()) {
        for (std::size_t i = 0; i < objects.size(); ++i) index_.emplace(objects[i].Handle(), i);
        for (std::size_t i = 0; i < objects.size(); ++i) {
            const RawEntity& e = objects[i];
            bool members = false, kept = false;
            forEachPointer(e, [&](std::size_t k, bool member, bool) {
                if (!member) return;
                members = true;
                kept = kept || save.keptHandles.Contains(ParseHandle(e.Pairs[k].Value));
            });
            left_[i] = members && !kept;
        }
        for (bool changed = true; changed;) {
            changed = false;
            for (std::size_t i = 0; i < objects.size(); ++i) {
                const uint32_t owner = ownerOf(objects[i]);
                if (left_[i] || owner == 0 || save.keptHandles.Contains(owner)) continue;
                const auto it = index_.find(owner);
                if (it != index_.end() && !left_[it->second]) continue;
                left_[i] = changed = true;
            }
        }
    }
    bool Left(std::size_t i) const { return left_[i]; }

    // The object as read, less the members and entries that point to what
    // the save left out.
    void Write(SaveContext& save, const RawEntity& e) const {
        DXFWriter& w = save.Writer();
        w.WriteString(0, e.Name);
        w.WriteHandle(5, save.KeepHandle(e.Handle()));
        // What to leave out: a member the save did not write; an entry (and its
        // name before it) for an object left out.
        std::vector<bool> skip(e.Pairs.size());
        bool handleSeen = false;
        forEachPointer(e, [&](std::size_t i, bool member, bool entry) {
            const DxfEntry& p = e.Pairs[i];
            if (p.Code == 5 && !handleSeen) handleSeen = skip[i] = true;
            if (member && !save.keptHandles.Contains(ParseHandle(p.Value))) skip[i] = true;
            if (entry && gone(p)) skip[i] = skip[i - 1] = true;
        });
        for (std::size_t i = 0; i < e.Pairs.size(); ++i)
            if (!skip[i]) w.WriteString(e.Pairs[i].Code, e.Pairs[i].Value);
    }

private:
    bool gone(const DxfEntry& p) const {
        const auto it = index_.find(ParseHandle(p.Value));
        return it != index_.end() && left_[it->second];
    }
    std::unordered_map<uint32_t, std::size_t> index_;
    std::vector<bool> left_;
};
}  // namespace

void KeptEntities::WriteSection(SaveContext& save, std::string_view section, const KeptEntities& kept) {
    DXFWriter& w = save.Writer();
    w.WriteString(0, "SECTION");
    w.WriteString(2, section);
    if (section == "OBJECTS") {
        const ObjectsWritten objects(save, kept.Items());
        for (std::size_t i = 0; i < kept.Items().size(); ++i)
            if (!objects.Left(i)) objects.Write(save, kept.Items()[i]);
    } else {
        for (const RawEntity& e : kept.Items()) {
            w.WriteString(0, e.Name);
            for (const DxfEntry& p : e.Pairs) w.WriteString(p.Code, p.Value);
        }
    }
    w.WriteString(0, "ENDSEC");
}

void KeptEntities::ReadUpTo(DXFReader& reader, std::string_view end) {
    while (!reader.AtEnd()) {
        const DXFReader::Pair& p = reader.Read();
        if (p.Code != 0) continue;
        if (EqualsNoCase(p.Value, end)) {
            reader.UnRead();
            return;
        }
        Read(reader, p.Value, 0);
    }
}

std::string NotKept::Text() const {
    std::string text;
    const auto add = [&](int64_t n, std::string_view what, bool after = true) {
        if (n == 0) return;
        if (!text.empty()) text += ", ";
        text += after ? std::to_string(n) + " " + std::string(what) : std::string(what) + std::to_string(n) + " entities";
    };
    for (const auto& [name, n] : entities) add(n, name);
    add(headerVariables, "header variables");
    add(objects, "objects");
    add(classes, "classes");
    for (const auto& [table, n] : tableEntries) add(n, table + " entries");
    add(duplicateBlocks, "blocks of a name already defined");
    add(xdataEntities, "XDATA of ", false);
    return text;
}

}  // namespace ormavec
