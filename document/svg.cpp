#include "document/svg.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <condition_variable>
#include <cstring>
#include <exception>
#include <memory>
#include <mutex>
#include <numbers>
#include <span>
#include <string_view>
#include <thread>
#include <unordered_map>
#include <utility>

#include "document/document.h"
#include "document/entity_sets.h"
#include "document/r12_save.h"
#include "document/spline.h"
#include "io/error.h"
#include "io/number.h"
#include "io/text.h"

namespace ormavec {
namespace {

constexpr double kDegree = std::numbers::pi / 180;

// The colour of a colour index: the nine named ones, 24 hues of 15 degrees
// in five shades each full and half saturated, and six greys.
std::array<int, 3> aciRgb(int i) {
    static constexpr int kNamed[10][3] = {{0, 0, 0},     {255, 0, 0},   {255, 255, 0},   {0, 255, 0},     {0, 255, 255},
                                          {0, 0, 255},   {255, 0, 255}, {255, 255, 255}, {128, 128, 128}, {192, 192, 192}};
    static constexpr int kGreys[6] = {51, 91, 132, 173, 214, 255};
    if (i >= 0 && i <= 9) return {kNamed[i][0], kNamed[i][1], kNamed[i][2]};
    if (i >= 250 && i <= 255) return {kGreys[i - 250], kGreys[i - 250], kGreys[i - 250]};
    if (i < 0 || i > 255) return {0, 0, 0};
    static constexpr double kValue[5] = {1, 0.65, 0.5, 0.3, 0.15};
    const double hue = (i / 10 - 1) * 15.0 / 60;
    std::array<int, 3> rgb{};
    for (int c = 0; c < 3; ++c) {
        const double k = std::fmod((5 - 2 * c) + hue, 6.0);
        double v = 1 - std::max(0.0, std::min({k, 4 - k, 1.0}));
        if (i % 2 == 1) v = (v + 1) / 2;
        rgb[static_cast<std::size_t>(c)] = static_cast<int>(std::lround(v * kValue[(i % 10) / 2] * 255));
    }
    return rgb;
}

constexpr char kDigitPairs[] =
    "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
    "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
    "8081828384858687888990919293949596979899";

struct C {  // a coordinate of the picture, written on its grid
    double v;
};

// A number as to_chars writes it with 10 significant digits, the usual way
// done in integers: rounding a scaled value is exact unless it lies too
// near the middle between two integers, and such values are left to
// to_chars, as are those written with an exponent.
char* shortNumber(char* at, double v) {
    if (std::abs(v) < 1e-12) v = 0.0;
    static constexpr double kPowers[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                         1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
    const double a = std::abs(v);
    if (a < 1e9 && a == static_cast<double>(static_cast<int64_t>(a))) {  // a whole number: its digits
        char b[32];  // written backwards to its middle, copied as 16 bytes
        char* end = b + 16;
        char* from = end;
        for (auto n = static_cast<uint64_t>(a); from == end || n > 0; n /= 10) *--from = static_cast<char>('0' + n % 10);
        if (v < 0) *at++ = '-';
        std::memcpy(at, from, 16);
        return at + (end - from);
    }
    if (a >= 1e-4 && a < 1e10) {
        int e = 9;  // the exponent of a's leading digit
        while (e > 0 && a < kPowers[e]) --e;
        if (e == 0 && a < 1) e = a >= 0.1 ? -1 : a >= 0.01 ? -2 : a >= 0.001 ? -3 : -4;
        const int decimals = 9 - e;
        const double scaled = a * kPowers[decimals];  // below 2^34: off by at most 2^-19
        auto n = static_cast<uint64_t>(scaled);
        const double fraction = scaled - static_cast<double>(n);
        if (std::abs(fraction - 0.5) > 1e-5) {
            n += fraction > 0.5;
            if (n >= 1000000000ULL && n < 10000000000ULL) {
                if (v < 0) *at++ = '-';
                char digits[10];
                for (int i = 8; i >= 0; i -= 2, n /= 100) std::memcpy(digits + i, kDigitPairs + 2 * (n % 100), 2);
                int last = 9;  // the last digit written: no trailing zeros after the point
                while (last > 9 - decimals && digits[last] == '0') --last;
                if (e < 0) {
                    *at++ = '0';
                    *at++ = '.';
                    for (int i = e; i < -1; ++i) *at++ = '0';
                    for (int i = 0; i <= last; ++i) *at++ = digits[i];
                    return at;
                }
                for (int i = 0; i <= e; ++i) *at++ = digits[i];
                if (last > e) {
                    *at++ = '.';
                    for (int i = e + 1; i <= last; ++i) *at++ = digits[i];
                }
                return at;
            }
        }
    }
    return std::to_chars(at, at + 32, v, std::chars_format::general, 10).ptr;
}

// The output, written in pieces of a megabyte. Each small piece (at most
// kSmall bytes) goes in without a test of room: the buffer is flushed as
// soon as it holds a megabyte, and has room for one more beyond it.
class Out {
public:
    Out(const std::string& fileName, std::string* text) : text_(text), buf_(new char[kPiece + kSmall]) {
        if (!text_) {
            file_ = fileName == "-" ? stdout : std::fopen(fileName.c_str(), "wb");
            if (!file_) RaiseError(err::PathFileAccessError, "DXFDocument", "Cannot write " + fileName + ": " + std::strerror(errno));
        }
        at_ = buf_.get();
    }
    ~Out() {
        if (file_ && file_ != stdout) std::fclose(file_);
    }
    Out(const Out&) = delete;
    Out& operator=(const Out&) = delete;

    Out& operator<<(std::string_view s) {
        if (s.size() <= kSmall) {
            std::memcpy(at_, s.data(), s.size());
            at_ += s.size();
            full();
            return *this;
        }
        for (std::size_t from = 0; from < s.size(); from += kSmall) *this << s.substr(from, kSmall);
        return *this;
    }
    template <std::size_t N>
    [[gnu::always_inline]] Out& operator<<(const char (&s)[N]) {  // a literal: a copy of a known size
        static_assert(N - 1 <= kSmall);
        std::memcpy(at_, s, N - 1);
        at_ += N - 1;
        full();
        return *this;
    }
    [[gnu::always_inline]] Out& operator<<(char c) {
        *at_++ = c;
        full();
        return *this;
    }
    Out& operator<<(C c) {
        Coord(c.v);
        return *this;
    }
    Out& operator<<(double v) {
        at_ = shortNumber(at_, v);
        full();
        return *this;
    }
    // A coordinate rounded to `decimals` places, without to_chars' rounding
    // of the shortest form: most numbers of a picture are coordinates.
    void Coord(double v) {
        const double scaled = v * scale_;
        if (!(std::abs(scaled) < 9e15)) [[unlikely]]
            return void(*this << v);
        auto n = static_cast<long long>(scaled);  // rounded half away from zero, as llround: below 2^53 the fraction is exact
        const double fraction = scaled - static_cast<double>(n);
        n += fraction >= 0.5 ? 1 : fraction <= -0.5 ? -1 : 0;
        char* at = at_;
        if (n < 0) *at++ = '-';  // never "-0": n is at least one unit of the last place
        at_ = coordDigits_(at, n < 0 ? 0ULL - static_cast<unsigned long long>(n) : static_cast<unsigned long long>(n));
        full();
    }
    // A large text, written as it is.
    void Write(std::string_view s) {
        flush();
        if (text_)
            text_->append(s);
        else if (std::fwrite(s.data(), 1, s.size(), file_) != s.size())
            RaiseError(err::DeviceIOError, "DXFDocument", "Cannot write the picture: " + std::string(std::strerror(errno)));
    }
    void SetGrid(double unit) {
        const int decimals = unit > 0 && std::isfinite(unit) ? std::clamp(static_cast<int>(std::ceil(-std::log10(unit))), 0, 12) : 6;
        scale_ = std::pow(10.0, decimals);
        coordDigits_ = kCoordDigits[static_cast<std::size_t>(decimals)];
    }
    void flush() {
        const std::size_t n = static_cast<std::size_t>(at_ - buf_.get());
        if (text_)
            text_->append(buf_.get(), n);
        else if (std::fwrite(buf_.get(), 1, n, file_) != n || std::fflush(file_) != 0)
            RaiseError(err::DeviceIOError, "DXFDocument", "Cannot write the picture: " + std::string(std::strerror(errno)));
        at_ = buf_.get();
    }

private:
    static constexpr std::size_t kPiece = 1 << 20;
    static constexpr std::size_t kSmall = 256;
    [[gnu::always_inline]] void full() {
        if (at_ >= buf_.get() + kPiece) [[unlikely]]
            flush();
    }
    // The digits of u units of the grid of D decimals (division by constants).
    template <int D>
    static char* coordDigits(char* at, unsigned long long u) {
        constexpr unsigned long long kUnit = [] {
            unsigned long long p = 1;
            for (int i = 0; i < D; ++i) p *= 10;
            return p;
        }();
        unsigned long long whole = u / kUnit, part = u % kUnit;
        at = wholeDigits(at, whole);
        if (part == 0) return at;
        int places = D;
        for (; part % 10 == 0; part /= 10) --places;  // no trailing zeros
        *at = '.';
        for (int i = places; i > 0; --i, part /= 10) at[i] = static_cast<char>('0' + part % 10);
        return at + places + 1;
    }
    // Most coordinates have at most eight digits: written in pairs without a loop.
    static char* wholeDigits(char* at, unsigned long long u) {
        if (u < 10000) return upTo4(at, static_cast<unsigned>(u));
        if (u < 100000000) {
            at = upTo4(at, static_cast<unsigned>(u / 10000));
            const auto low = static_cast<unsigned>(u % 10000);
            std::memcpy(at, kDigitPairs + 2 * (low / 100), 2);
            std::memcpy(at + 2, kDigitPairs + 2 * (low % 100), 2);
            return at + 4;
        }
        char b[24];
        char* from = b + sizeof b;
        for (; u > 0; u /= 10) *--from = static_cast<char>('0' + u % 10);
        const auto n = static_cast<std::size_t>(b + sizeof b - from);
        std::memcpy(at, from, n);
        return at + n;
    }
    static char* upTo4(char* at, unsigned u) {
        if (u < 10) {
            *at = static_cast<char>('0' + u);
            return at + 1;
        }
        if (u < 100) {
            std::memcpy(at, kDigitPairs + 2 * u, 2);
            return at + 2;
        }
        const unsigned high = u / 100, low = u % 100;
        if (high < 10) {
            *at = static_cast<char>('0' + high);
            std::memcpy(at + 1, kDigitPairs + 2 * low, 2);
            return at + 3;
        }
        std::memcpy(at, kDigitPairs + 2 * high, 2);
        std::memcpy(at + 2, kDigitPairs + 2 * low, 2);
        return at + 4;
    }
    using CoordDigits = char* (*)(char*, unsigned long long);
    static constexpr CoordDigits kCoordDigits[13] = {
        coordDigits<0>, coordDigits<1>, coordDigits<2>, coordDigits<3>,  coordDigits<4>,  coordDigits<5>, coordDigits<6>,
        coordDigits<7>, coordDigits<8>, coordDigits<9>, coordDigits<10>, coordDigits<11>, coordDigits<12>};
    std::string* text_;
    double scale_ = 1e6;
    CoordDigits coordDigits_ = kCoordDigits[6];
    std::FILE* file_ = nullptr;
    std::unique_ptr<char[]> buf_;
    char* at_;
};

struct Vertex {
    double x, y, bulge;
};
// One line family of a hatch pattern: lines at an angle (degrees) through
// a base point, each the offset from the one before, dashed by the lengths
// (a gap negative, a dot 0; none: solid).
struct Family {
    double angle = 45, x = 0, y = 0, dx = -2.2450640303, dy = 2.2450640303;  // an eighth of an inch apart
    std::vector<double> dashes;
};
// One pair of a pattern's line families (53 starts one; other codes are passed over).
void addFamilyPair(std::vector<Family>& families, int32_t code, double x) {
    if (code == 53) families.push_back({x, 0, 0, 0, 0, {}});
    else if (families.empty()) return;
    else if (code >= 43 && code <= 46) {
        Family& f = families.back();
        (code == 43 ? f.x : code == 44 ? f.y : code == 45 ? f.dx : f.dy) = x;
    } else if (code == 49) families.back().dashes.push_back(x);
}
struct Box {
    double x0 = HUGE_VAL, y0 = HUGE_VAL, x1 = -HUGE_VAL, y1 = -HUGE_VAL;
    void Add(double x, double y) {
        if (!std::isfinite(x) || !std::isfinite(y)) return;
        x0 = std::min(x0, x), y0 = std::min(y0, y), x1 = std::max(x1, x), y1 = std::max(y1, y);
    }
    bool Empty() const { return x0 > x1; }
};

struct Style {
    std::string_view color;  // "" follows the insert (currentColor); into Scene's table
    const std::string* dash = nullptr;
    bool flatEnds = false;  // a wide polyline ends square at its end points
    std::string_view Paint() const { return color.empty() ? std::string_view("currentColor") : std::string_view(color); }
};

// Names as the entities spell them, each looked up in any letter case once:
// open addressing on a cheap hash, the last name found kept aside (entities
// of a layer tend to come together).
template <class T>
class BySpelling {
public:
    BySpelling() : slots_(16) {}
    // A copy (for another thread) keeps no pointer into the original.
    BySpelling(const BySpelling& o) : slots_(o.slots_), count_(o.count_) {}
    BySpelling& operator=(const BySpelling&) = delete;
    // The value of the spelling, made by make(name) the first time.
    template <class Make>
    const T& Get(std::string_view name, Make&& make) {
        if (last_ && name == last_->name) return last_->value;
        std::size_t i = hash(name) & (slots_.size() - 1);
        for (; slots_[i].used; i = (i + 1) & (slots_.size() - 1))
            if (slots_[i].name == name) return (last_ = &slots_[i])->value;
        if (2 * (count_ + 1) > slots_.size()) {
            grow();
            return Get(name, make);
        }
        slots_[i] = {std::string(name), make(name), true};
        ++count_;
        return (last_ = &slots_[i])->value;
    }

private:
    struct Slot {
        std::string name;
        T value{};
        bool used = false;
    };
    static std::size_t hash(std::string_view s) {
        uint64_t h = 0xcbf29ce484222325ULL ^ s.size();
        for (char c : s) h = (h ^ static_cast<unsigned char>(c)) * 0x100000001b3ULL;
        return static_cast<std::size_t>(h ^ (h >> 29));
    }
    void grow() {
        std::vector<Slot> old(slots_.size() * 2);
        old.swap(slots_);
        last_ = nullptr;
        for (Slot& o : old) {
            if (!o.used) continue;
            std::size_t i = hash(o.name) & (slots_.size() - 1);
            while (slots_[i].used) i = (i + 1) & (slots_.size() - 1);
            slots_[i] = std::move(o);
        }
    }
    std::vector<Slot> slots_;
    std::size_t count_ = 0;
    const Slot* last_ = nullptr;
};

// What both passes share: the layers, line types and blocks by name.
class Scene {
public:
    Scene(const DXFDocument& doc, const SvgOptions& o) : doc_(doc) {
        const std::string dark = LowerCase(o.background);
        foreground_ = dark == "black" || dark == "#000" || dark == "#000000" ? 7 : 0;
        for (const std::string& n : o.layers) only_.emplace(UpperCase(n), true);
        for (int i = 0; i < 256; ++i) hexes_[static_cast<std::size_t>(i)] = hex(i);
        const TABLES& t = *doc.TABLES();
        for (const LTYPES_TAB& lt : *t.LTYPES()) {
            std::string dash;
            double total = 0;
            for (const LINEPATTERN& e : lt.Pattern) total += std::abs(e.Value);
            for (const LINEPATTERN& e : lt.Pattern) {
                if (!dash.empty()) dash += ' ';
                dash += number(e.Value == 0 ? total / 100 : std::abs(e.Value));
            }
            if (total > 0) dashes_[UpperCase(lt.LineTypeName)] = dash;
        }
        for (const LAYERS_TAB& l : *t.LAYERS())
            layers_[UpperCase(l.LayerName)] = {l.ColorNumber, l.LineTypeName, dashOf(l.LineTypeName), l.ColorNumber >= 0 && (l.Flag & 1) == 0};
        int i = 0;
        for (const BLOCK_BLOCK& b : *doc.BLOCKS()) blocks_.emplace(UpperCase(b.BlockName), i++);
    }

    // Whether an entity on the layer is drawn; a block's layer-0 entities
    // follow their insert.
    bool Shows(std::string_view layer) {
        if (inBlock && (layer == "0" || layer.empty())) return true;
        return find(layer).shown;
    }
    Style StyleOf(std::string_view layer, int32_t color, std::string_view ltype) {
        const LayerInfo& l = *find(layer).info;
        const bool follows = inBlock && (layer == "0" || layer.empty());
        Style s;
        if (color == 256 && !follows) color = std::abs(l.color);
        if (color >= 1 && color <= 255) s.color = hexes_[static_cast<std::size_t>(color == 7 ? foreground_ : color)];
        if (ltype.empty()) {
            if (!follows) s.dash = l.dash;
            return s;
        }
        const LineTypeInfo& t = lineTypes_.Get(ltype, [&](std::string_view n) {
            return EqualsNoCase(n, "BYLAYER") ? LineTypeInfo{true, nullptr} : LineTypeInfo{false, dashOf(n)};
        });
        s.dash = !t.byLayer ? t.dash : follows ? nullptr : l.dash;
        return s;
    }
    int BlockIndex(std::string_view name) {
        return blockBySpelling_.Get(name, [&](std::string_view n) {
            auto it = blocks_.find(UpperCase(n));
            return it == blocks_.end() ? -1 : it->second;
        });
    }
    const BLOCK_BLOCK& Block(int i) const { return doc_.BLOCKS()->ItemRef(i); }
    std::string_view Foreground() const { return hexes_[static_cast<std::size_t>(foreground_)]; }

    bool inBlock = false;
    const KeptEntities* kept = nullptr;         // of the set being drawn
    std::vector<std::vector<Vertex>> contours;  // scratch of one entity
    std::vector<std::string> lines;             // scratch of one text
    std::vector<Box> blockBoxes;               // per block; empty until measured
    std::vector<char> measuring;
    bool cycles = false;  // whether a block reaches itself: its box depends on where it was first met

private:
    struct LayerInfo {
        int32_t color = 7;
        std::string ltype;
        const std::string* dash = nullptr;  // of ltype
        bool visible = true;
    };
    struct Spelled {  // a layer as spelled by entities
        const LayerInfo* info = nullptr;
        bool shown = false;
    };
    struct LineTypeInfo {
        bool byLayer = false;
        const std::string* dash = nullptr;
    };
    const Spelled& find(std::string_view layer) {
        return layerBySpelling_.Get(layer, [&](std::string_view n) {
            const std::string upper = UpperCase(n);
            auto l = layers_.find(upper);
            const LayerInfo* info = l == layers_.end() ? &unknown_ : &l->second;
            return Spelled{info, info->visible && (only_.empty() || only_.count(upper) > 0)};
        });
    }
    const std::string* dashOf(std::string_view ltype) const {
        if (ltype.empty()) return nullptr;
        auto d = dashes_.find(UpperCase(ltype));
        return d == dashes_.end() ? nullptr : &d->second;
    }
    static std::string number(double v) {
        char b[32];
        return std::string(b, std::to_chars(b, b + sizeof b, v, std::chars_format::general, 8).ptr);
    }
    static std::string hex(int aci) {
        static constexpr char kHex[] = "0123456789abcdef";
        std::string s = "#";
        for (int c : aciRgb(aci)) s += kHex[c >> 4], s += kHex[c & 15];
        return s;
    }

    const DXFDocument& doc_;
    int foreground_ = 0;
    std::unordered_map<std::string, bool> only_;
    std::unordered_map<std::string, std::string> dashes_;
    std::unordered_map<std::string, LayerInfo> layers_;
    std::unordered_map<std::string, int> blocks_;
    BySpelling<Spelled> layerBySpelling_;
    BySpelling<LineTypeInfo> lineTypes_;
    BySpelling<int> blockBySpelling_;
    LayerInfo unknown_;
    std::array<std::string, 256> hexes_;
};

// The first pass: the box of what is drawn.
struct Measure {
    Scene& scene;
    Box box;
    Style StyleOf(std::string_view, int32_t, std::string_view) { return {}; }  // nothing of it changes the box
    // Without a width a point is added once (the box's zeros may then keep
    // their sign, which its margin takes away).
    void Line(const Style&, double x0, double y0, double x1, double y1) { box.Add(x0, y0), box.Add(x1, y1); }
    void Thin(const Style&, const std::vector<LWVERTEX>& points, bool) {
        for (const LWVERTEX& v : points) box.Add(v.X, v.Y);
    }
    void point(double x, double y, double width) { box.Add(x - width / 2, y - width / 2), box.Add(x + width / 2, y + width / 2); }
    void Path(const Style&, const std::vector<std::vector<Vertex>>& contours, bool, bool, double width) {
        for (const auto& c : contours)
            for (const Vertex& v : c) point(v.x, v.y, width);
    }
    void Hatch(const Style& s, const std::vector<std::vector<Vertex>>& contours, const std::vector<Family>& = {}) {
        Path(s, contours, true, true, 0);
    }
    void Arc(const Style&, double cx, double cy, double r, double, double) { box.Add(cx - r, cy - r), box.Add(cx + r, cy + r); }
    void Dot(const Style&, double x, double y) { box.Add(x, y); }
    // Glyphs about 0.6 of the height wide, from the insertion point (a
    // centred or right-aligned text is taken as reaching both ways).
    void Text(const Style&, double x, double y, double h, double c, double s, double xscale, int anchor, std::string_view text) {
        std::size_t n = 0;
        for (char ch : text) n += (static_cast<unsigned char>(ch) & 0xC0) != 0x80;
        const double len = 0.6 * h * xscale * static_cast<double>(n);
        for (double along : {anchor == 0 ? 0.0 : -len, len})
            for (double up : {0.0, h}) box.Add(x + c * along - s * up, y + s * along + c * up);
    }
    void Use(const Style&, int block, double x, double y, double sx, double sy, double rot, double bx, double by);
};

// The second pass: the elements.
struct Paint {
    Scene& scene;
    Out& out;
    double px;  // a pixel in drawing units

    Style StyleOf(std::string_view layer, int32_t color, std::string_view ltype) { return scene.StyleOf(layer, color, ltype); }
    // What Path draws of one open contour of two vertices without a bulge.
    void Line(const Style& s, double x0, double y0, double x1, double y1) {
        out << "<path d=\"M" << C{x0} << ' ' << C{y0} << 'L' << C{x1} << ' ' << C{y1} << '"';
        attributes(s, false, 0);
        out << "/>\n";
    }
    // What Path draws of a polyline without widths.
    void Thin(const Style& s, const std::vector<LWVERTEX>& points, bool closed) {
        auto& c = scene.contours;
        c.resize(1);
        c[0].clear();
        for (const LWVERTEX& v : points) c[0].push_back({v.X, v.Y, v.Bulge});
        Path(s, c, closed, false, 0);
    }

    void attributes(const Style& s, bool fill, double width) {
        if (fill) {
            out << " fill=\"" << s.Paint() << "\" stroke=\"none\" fill-rule=\"evenodd\"";
            return;
        }
        if (hatching) {  // filled with the lines of a pattern of its colour
            out << " fill=\"url(#" << std::string_view(hatching) << ")\" stroke=\"none\" fill-rule=\"evenodd\"";
            return;
        }
        if (!s.color.empty()) out << " stroke=\"" << s.color << '"';
        if (s.dash) out << " stroke-dasharray=\"" << *s.dash << '"';
        if (width > 0) out << " stroke-width=\"" << width << '"';
        if (width > 0 && s.flatEnds) out << " stroke-linecap=\"butt\"";
    }
    // A hatch filled with the lines of each family of its pattern, one SVG
    // pattern each: a tile as long as the dashes and as high as the lines'
    // distance (at least three pixels), turned to their angle. Each line's
    // dashes start at the same place (the shift along the line is left out).
    // A hatch whose pattern is not known gets lines at 45 degrees an eighth
    // of an inch apart. The lines cannot follow an insert's colour: they
    // take the foreground.
    void Hatch(const Style& s, const std::vector<std::vector<Vertex>>& contours, const std::vector<Family>& families = {}) {
        const std::string color(s.color.empty() ? scene.Foreground() : s.color);
        static const std::vector<Family> kFallback{Family{}};
        for (const Family& f : families.empty() ? kFallback : families) {
            const double a = f.angle * kDegree;
            const double gap = std::max(std::abs(-f.dx * std::sin(a) + f.dy * std::cos(a)), 3 * px);
            double length = 0;
            for (double d : f.dashes) length += std::abs(d);
            if (length < 3 * px) length = gap;
            std::string key = color;
            for (double v : {f.angle, f.x, f.y, gap, length}) key += ' ' + std::to_string(v);
            for (double v : f.dashes) key += ' ' + std::to_string(v);
            auto [it, added] = patterns.emplace(key, "p" + std::to_string(patterns.size()));
            if (added) {
                out << "<pattern id=\"" << it->second << "\" patternUnits=\"userSpaceOnUse\" width=\"" << length << "\" height=\"" << gap
                    << "\" patternTransform=\"translate(" << f.x << ' ' << f.y << ") rotate(" << f.angle << ")\"><path d=\"";
                double at = 0;
                for (double d : f.dashes) {
                    if (d >= 0) out << 'M' << at << " 0H" << at + std::max(d, px);
                    at += std::abs(d);
                }
                if (f.dashes.empty() || at < 3 * px) out << "M0 0H" << length;
                out << "\" stroke=\"" << color << "\" stroke-width=\"" << px << "\"/></pattern>\n";
            }
            hatching = it->second.c_str();
            Path(s, contours, true, false, 0);
        }
        hatching = nullptr;
    }
    void Path(const Style& s, const std::vector<std::vector<Vertex>>& contours, bool closed, bool fill, double width) {
        out << "<path d=\"";
        for (const auto& c : contours) {
            for (std::size_t i = 0; i < c.size(); ++i) {
                if (i == 0) {
                    out << 'M' << C{c[0].x} << ' ' << C{c[0].y};
                    continue;
                }
                segment(c[i - 1], c[i]);
            }
            if (closed && c.size() > 2) {
                if (c.back().bulge != 0) segment(c.back(), c.front());
                out << 'Z';
            }
        }
        out << '"';
        attributes(s, fill, width);
        out << "/>\n";
    }
    std::unordered_map<std::string, std::string> patterns;  // by colour
    const char* hatching = nullptr;
    void segment(const Vertex& a, const Vertex& b) {
        if (a.bulge == 0) {
            out << 'L' << C{b.x} << ' ' << C{b.y};
            return;
        }
        // A bulge is the tangent of a quarter of the arc's angle.
        const double chord = std::hypot(b.x - a.x, b.y - a.y);
        const double r = chord * (1 + a.bulge * a.bulge) / (4 * std::abs(a.bulge));
        out << 'A' << C{r} << ' ' << C{r} << " 0 " << (std::abs(a.bulge) > 1 ? "1 " : "0 ") << (a.bulge > 0 ? "1 " : "0 ") << C{b.x} << ' ' << C{b.y};
    }
    void Arc(const Style& s, double cx, double cy, double r, double a0, double a1) {
        if (a1 - a0 >= 360) {
            out << "<circle cx=\"" << C{cx} << "\" cy=\"" << C{cy} << "\" r=\"" << C{r} << '"';
        } else {
            const double span = a1 - a0;
            out << "<path d=\"M" << C{cx + r * std::cos(a0 * kDegree)} << ' ' << C{cy + r * std::sin(a0 * kDegree)} << 'A' << C{r} << ' ' << C{r}
                << " 0 " << (span > 180 ? "1" : "0") << " 1 " << C{cx + r * std::cos(a1 * kDegree)} << ' ' << C{cy + r * std::sin(a1 * kDegree)}
                << '"';
        }
        attributes(s, false, 0);
        out << "/>\n";
    }
    void Dot(const Style& s, double x, double y) {
        out << "<circle cx=\"" << C{x} << "\" cy=\"" << C{y} << "\" r=\"" << px << '"';
        attributes(s, true, 0);
        out << "/>\n";
    }
    // The text's direction is (c, n), its angle's cosine and sine.
    void Text(const Style& s, double x, double y, double h, double c, double n, double xscale, int anchor, std::string_view text) {
        // Glyphs are drawn with y down: their x along the baseline, their y against the text's up direction.
        out << "<text transform=\"matrix(" << c * xscale << ' ' << n * xscale << ' ' << n << ' ' << -c << ' ' << x << ' ' << y
            << ")\" font-size=\"" << h << "\" fill=\"" << s.Paint() << "\" stroke=\"none\" font-family=\"sans-serif\"";
        if (anchor == 1 || anchor == 4) out << " text-anchor=\"middle\"";
        if (anchor == 2) out << " text-anchor=\"end\"";
        out << '>';
        escaped(text);
        out << "</text>\n";
    }
    void escaped(std::string_view text) {
        std::string clean;
        if (!IsValidUtf8(text)) {  // bytes of no encoding the picture can hold
            for (char ch : text) clean += static_cast<unsigned char>(ch) < 0x80 ? ch : '?';
            text = clean;
        }
        static constexpr auto kPlain = [] {  // the bytes written as they are
            std::array<bool, 256> plain{};
            for (int c = 0x20; c < 256; ++c) plain[static_cast<std::size_t>(c)] = c != '&' && c != '<' && c != '>' && c != '"' && c != '%';
            return plain;
        }();
        std::size_t from = 0;
        for (std::size_t i = 0; i < text.size(); ++i) {
            const char ch = text[i];
            if (kPlain[static_cast<unsigned char>(ch)]) continue;
            std::string_view with;
            if (ch == '&') with = "&amp;";
            else if (ch == '<') with = "&lt;";
            else if (ch == '>') with = "&gt;";
            else if (ch == '"') with = "&quot;";
            else if (static_cast<unsigned char>(ch) < 0x20) with = " ";
            else if (ch == '%' && i + 2 < text.size() && text[i + 1] == '%') {
                const char k = static_cast<char>(text[i + 2] | 0x20);
                with = k == 'd' ? "\u00b0" : k == 'p' ? "\u00b1" : k == 'c' ? "\u2300" : k == 'u' || k == 'o' ? "" : "%";
                if (with != "%") {
                    out << text.substr(from, i - from) << with;
                    from = i + 3;
                    i += 2;
                }
                continue;
            } else continue;
            out << text.substr(from, i - from) << with;
            from = i + 1;
        }
        out << text.substr(from);
    }
    void Use(const Style& s, int block, double x, double y, double sx, double sy, double rot, double bx, double by) {
        out << "<use xlink:href=\"#b" << static_cast<double>(block) << "\" transform=\"translate(" << x << ' ' << y << ") rotate(" << rot
            << ") scale(" << sx << ' ' << sy << ") translate(" << -bx << ' ' << -by << ")\"";
        if (!s.color.empty()) out << " color=\"" << s.color << '"';
        out << "/>\n";
    }
};

template <class P>
void drawSet(P& p, const BLOCK_BLOCK& set);

// The pairs a preserving load kept beside a typed record (none otherwise).
template <class P, class R>
std::span<const KeptPair> keptPairs(P& p, const R& r) {
    if (!p.scene.kept || (r.kept.pairs & kKeptExtras) == 0) return {};
    return p.scene.kept->ExtrasOf(r.kept.place);
}
double pairNumber(const KeptPair& e) { return e.Number(); }

// One record of each kind.
template <class P>
void draw(P& p, const LINE_ENT& r) {
    p.Line(p.StyleOf(r.Layer, r.ColorNumber, r.LineType), r.StartX, r.StartY, r.EndX, r.EndY);
}
template <class P>
void draw(P& p, const ARC_ENT& r) {
    double a1 = r.EndAngle;
    while (a1 <= r.StartAngle) a1 += 360;
    p.Arc(p.StyleOf(r.Layer, r.ColorNumber, r.LineType), r.CenterX, r.CenterY, r.Radius, r.StartAngle, std::min(a1, r.StartAngle + 359.999));
}
template <class P>
void draw(P& p, const CIRCLE_ENT& r) {
    p.Arc(p.StyleOf(r.Layer, r.ColorNumber, r.LineType), r.CenterX, r.CenterY, r.Radius, 0, 360);
}
template <class P>
void drawPolyline(P& p, const Style& s, const POLYLINE_ENT& r) {
    auto& c = p.scene.contours;
    if (r.IsPolyFaceMesh) {  // each face record names up to four vertices, from 1
        c.clear();
        for (const VERTEX_ENT& f : r.CommandVertices) {
            c.emplace_back();
            for (int32_t k : {f.PolyFaceMesh1, f.PolyFaceMesh2, f.PolyFaceMesh3, f.PolyFaceMesh4}) {
                const std::size_t at = static_cast<std::size_t>(std::abs(k));
                if (at >= 1 && at <= r.Vertices.size()) c.back().push_back({r.Vertices[at - 1].X, r.Vertices[at - 1].Y, 0});
            }
        }
        return p.Path(s, c, true, false, 0);
    }
    const std::vector<VERTEX_ENT>& v = r.Vertices;
    bool even = true;  // one width all along
    for (const VERTEX_ENT& x : v) even = even && x.StartWidth == v[0].StartWidth && x.EndWidth == v[0].StartWidth;
    Style flat = s;
    flat.flatEnds = !r.IsClosed;
    if (even) {
        c.assign(1, {});
        for (const VERTEX_ENT& x : v) c[0].push_back({x.X, x.Y, x.Bulge});
        return p.Path(flat, c, r.IsClosed, false, v.empty() ? 0 : v[0].StartWidth);
    }
    // Tapering segments: each at its mean width, their round ends filling the
    // bends; the polyline's own two ends square.
    const std::size_t n = v.size() + (r.IsClosed ? 1 : 0);
    for (std::size_t i = 0; i + 1 < n; ++i) {
        const VERTEX_ENT& a = v[i];
        const VERTEX_ENT& b = v[(i + 1) % v.size()];
        c.assign(1, {{a.X, a.Y, a.Bulge}, {b.X, b.Y, 0}});
        p.Path(i == 0 || i + 2 == n ? flat : s, c, false, false, (a.StartWidth + a.EndWidth) / 2);
    }
}
template <class P>
void draw(P& p, const POLYLINE_ENT& r) {
    drawPolyline(p, p.StyleOf(r.Layer, r.ColorNumber, r.LineType), r);
}
template <class P>
void draw(P& p, const LWPOLYLINE_ENT& r) {
    const Style s = p.StyleOf(r.Layer, r.ColorNumber, r.LineType);
    const bool thin = r.ConstWidth == LWPOLYLINE_ENT::kNoConstWidth || r.ConstWidth == 0;
    if (!thin || std::any_of(r.POINTS.begin(), r.POINTS.end(), [](const LWVERTEX& v) { return v.StartWidth != 0 || v.EndWidth != 0; }))
        return drawPolyline(p, s, r12::AsPolyline(r));
    p.Thin(s, r.POINTS, r.IsClosed);  // the common case, without a copy of the record
}
template <class P>
void draw(P& p, const ELLIPSE_ENT& r) {
    drawPolyline(p, p.StyleOf(r.Layer, r.ColorNumber, r.LineType), r12::AsPolyline(r, 0));
}
template <class P>
void draw(P& p, const POINT_ENT& r) {
    p.Dot(p.StyleOf(r.Layer, r.ColorNumber, ""), r.StartX, r.StartY);
}
template <class P>
void fill(P& p, const Style& s, std::initializer_list<XYZ> corners) {
    auto& c = p.scene.contours;
    c.assign(1, {});
    for (const XYZ& q : corners) c[0].push_back({q.X, q.Y, 0});
    p.Path(s, c, true, true, 0);
}
template <class P>
void draw(P& p, const SOLID_ENT& r) {  // the third and fourth corners are drawn crosswise
    fill(p, p.StyleOf(r.Layer, r.ColorNumber, r.LineType), {r.Corner1, r.Corner2, r.Corner4, r.Corner3});
}
template <class P>
void draw(P& p, const FACE3D_ENT& r) {
    fill(p, p.StyleOf(r.Layer, r.ColorNumber, r.LineType), {r.Corner1, r.Corner2, r.Corner3, r.Corner4});
}
// The baseline from the alignment point: none (0), raised above the
// descenders (1, bottom), half the height (2, middle, and the horizontal
// middle 4) or the whole height (3, top) below it.
template <class P>
void drawText(P& p, const Style& s, double x, double y, double h, double rot, double xscale, int hor, int vert, std::string_view text) {
    const double down = hor == 4 ? h / 2 : vert == 1 ? -0.25 * h : vert == 2 ? h / 2 : vert == 3 ? h : 0;
    const double c = std::cos(rot), n = std::sin(rot);
    p.Text(s, x + n * down, y - c * down, h, c, n, xscale, hor, text);
}
template <class P>
void draw(P& p, const TEXT_ENT& r) {
    drawText(p, p.StyleOf(r.Layer, r.ColorNumber, ""), r.StartX, r.StartY, r.TextHeight, r.TextRotation * kDegree,
             r.XScaleFactor > 0 ? r.XScaleFactor : 1, r.HorTextJust, r.VertTextJust, r.Text);
}
// Lines wrapped at the text's width, glyphs taken as 0.6 of the height wide.
// A multiline text reads a colour it does not state as 0; in the model space,
// where no insert could lend one, it is taken as the layer's. Each line is
// drawn where r12::AsTexts places its TEXTs, without making the records.
template <class P>
void draw(P& p, const MTEXT_ENT& r) {
    const int32_t color = r.ColorNumber == 0 && !p.scene.inBlock ? 256 : r.ColorNumber;
    std::vector<std::string> plain = r12::PlainLines(r.Text);
    std::vector<std::string>& lines = r.Width <= 0 || r.TextHeight <= 0 ? plain : p.scene.lines;
    std::size_t count = lines.size();
    if (&lines != &plain) {
        const auto fits = static_cast<std::size_t>(std::max(1.0, r.Width / (0.6 * r.TextHeight)));
        count = 0;
        const auto next = [&] {
            if (++count > lines.size()) lines.emplace_back();
            lines[count - 1].clear();
        };
        for (const std::string& line : plain) {
            std::size_t used = 0;
            next();
            for (std::size_t at = 0, end; at < line.size(); at = end + 1) {
                end = std::min(line.find(' ', at), line.size());
                const std::size_t n = end - at;
                if (used > 0 && used + 1 + n > fits) next(), used = 0;
                if (used > 0) lines[count - 1] += ' ', ++used;
                lines[count - 1].append(line, at, n);
                used += n;
            }
        }
    }
    const Style style = p.StyleOf(r.Layer, color, "");
    r12::PlaceLines(r, lines, count, [&](const std::string& line, double x, double y, double degrees, int hor) {
        drawText(p, style, x, y, r.TextHeight, degrees * kDegree, 1.0, hor, 0, line);
    });
}
template <class P>
void draw(P&, const ATTDEF_ENT&) {}  // the inserts draw the attributes
template <class P>
void draw(P& p, const ATTRIB_ENT& r) {
    if (p.scene.Shows(r.Layer) && (r.AttributeFlag & 1) == 0)
        drawText(p, p.StyleOf(r.Layer, r.ColorNumber, ""), r.X, r.Y, r.TextHeight, r.Rotation * kDegree,
                 r.XScaleFactor > 0 ? r.XScaleFactor : 1, r.HorTextJust, r.VertTextJust, r.DefaultValue);
}
template <class P>
void draw(P& p, const INSERT_ENT& r) {
    const int block = p.scene.BlockIndex(r.BlockName);
    if (block >= 0) {
        const BLOCK_BLOCK& b = p.scene.Block(block);
        p.Use(p.StyleOf(r.Layer, r.ColorNumber, r.LineType), block, r.CenterX, r.CenterY, r.XScale, r.YScale, r.RotationAngle, b.X, b.Y);
    }
    if (r.ATTRIBS)
        for (const ATTRIB_ENT& a : *r.ATTRIBS) draw(p, a);
}
template <class P>
void draw(P& p, const HATCH_ENT& r) {
    auto& c = p.scene.contours;
    c.clear();
    for (const Variant& path : r.Boundaries) {
        c.emplace_back();
        if (const auto* pl = path.RecordIf<HATCH_BOUNDARY_POLYLINE>()) {
            for (std::size_t i = 0; i < pl->POINTS.size(); ++i)
                c.back().push_back({pl->POINTS[i].X, pl->POINTS[i].Y, i < pl->Bulges.size() ? pl->Bulges[i] : 0});
        } else if (const auto* edges = path.ArrayIf<Variant>()) {
            for (const Variant& e : edges->items)
                if (const auto* l = e.RecordIf<HATCH_BOUNDARY_LINE>()) {
                    if (c.back().empty()) c.back().push_back({l->StartX, l->StartY, 0});
                    c.back().push_back({l->EndX, l->EndY, 0});
                }
        }
    }
    const Style s = p.StyleOf(r.Layer, r.ColorNumber, "");
    if (r.SolidFill) return p.Path(s, c, true, true, 0);
    std::vector<Family> families;  // the pattern's, where kept
    for (const KeptPair& e : keptPairs(p, r)) addFamilyPair(families, e.Code, pairNumber(e));
    p.Hatch(s, c, families);
}

// A HATCH kept as its pairs: its boundary paths (polylines with bulges, or
// edges: lines, arcs and elliptic arcs in steps of at most 5 degrees, a
// spline edge through its control points) and its pattern's line families.
struct KeptHatch {
    std::string layer = "0";
    int32_t color = 256;
    bool solid = false;
    std::vector<std::vector<Vertex>> paths;
    std::vector<Family> families;
};

void addArc(std::vector<Vertex>& to, double cx, double cy, double ax, double ay, double ratio, double a0, double a1, bool ccw) {
    // Clockwise edges keep the angles of their mirror image.
    if (!ccw) a0 = -a0, a1 = -a1;
    double span = ccw ? a1 - a0 : a0 - a1;
    while (span <= 0) span += 360;
    const int n = std::clamp(static_cast<int>(std::ceil(span / 5)), 1, 72);
    for (int i = 0; i <= n; ++i) {
        const double t = (a0 + (ccw ? 1 : -1) * span * i / n) * kDegree;
        to.push_back({cx + ax * std::cos(t) - ay * ratio * std::sin(t), cy + ay * std::cos(t) + ax * ratio * std::sin(t), 0});
    }
}

KeptHatch readHatch(const RawEntity& e) {
    KeptHatch h;
    bool inPaths = false, polyline = false;
    int edge = 0;
    double v[9] = {};  // an edge's 10 20 11 21 40 50 51 73, by arrival
    const auto finishEdge = [&] {
        if (h.paths.empty() || edge == 0) return;
        auto& path = h.paths.back();
        if (edge == 1) {
            if (path.empty()) path.push_back({v[0], v[1], 0});
            path.push_back({v[2], v[3], 0});
        } else if (edge == 2) {
            addArc(path, v[0], v[1], v[4], 0, 1, v[5], v[6], v[7] != 0);
        } else if (edge == 3) {
            addArc(path, v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7] != 0);
        }
        edge = 0;
    };
    for (const DxfEntry& p : e.Pairs) {
        double x = 0;
        int32_t n = 0;
        if (p.Code >= 10 && p.Code < 100 && ParseDouble(p.Value, x) != ParseStatus::Ok) x = 0;
        if (p.Code == 8) h.layer = p.Value;
        else if (p.Code == 62 && ParseInt32(p.Value, n) == ParseStatus::Ok) h.color = n;
        else if (p.Code == 70) h.solid = p.Value.find('1') != std::string::npos;
        else if (p.Code == 91) inPaths = true;
        else if (p.Code == 75) finishEdge(), inPaths = false;
        else if (inPaths && p.Code == 92) {
            finishEdge();
            ParseInt32(p.Value, n);
            polyline = (n & 2) != 0;
            h.paths.emplace_back();
        } else if (inPaths && p.Code == 97) finishEdge();
        else if (inPaths && !polyline && p.Code == 72) {
            finishEdge();
            ParseInt32(p.Value, edge);
            std::fill(std::begin(v), std::end(v), 0.0);
            v[7] = 1;
        } else if (inPaths && !h.paths.empty() && polyline) {
            if (p.Code == 10) h.paths.back().push_back({x, 0, 0});
            else if (p.Code == 20 && !h.paths.back().empty()) h.paths.back().back().y = x;
            else if (p.Code == 42 && !h.paths.back().empty()) h.paths.back().back().bulge = x;
        } else if (inPaths && edge == 4 && !h.paths.empty()) {  // a spline edge: through its control points
            if (p.Code == 10) h.paths.back().push_back({x, 0, 0});
            else if (p.Code == 20 && !h.paths.back().empty()) h.paths.back().back().y = x;
        } else if (inPaths && edge > 0 && !h.paths.empty()) {
            static constexpr int kCodes[8] = {10, 20, 11, 21, 40, 50, 51, 73};
            for (std::size_t k = 0; k < 8; ++k)
                if (p.Code == kCodes[k]) v[k] = p.Code == 73 ? (p.Value.find('1') != std::string::npos) : x;
        } else {
            addFamilyPair(h.families, p.Code, x);
        }
    }
    finishEdge();
    return h;
}

template <class P>
void drawKept(P& p, const RawEntity& e) {
    SplineCurve s;
    if (EqualsNoCase(e.Name, "SPLINE") && ReadSpline(e, s).empty() && p.scene.Shows(s.Layer))
        drawPolyline(p, p.StyleOf(s.Layer, s.ColorNumber, s.LineType), r12::AsPolyline(s, 0));
    if (EqualsNoCase(e.Name, "HATCH")) {
        const KeptHatch h = readHatch(e);
        if (!p.scene.Shows(h.layer)) return;
        const Style style = p.StyleOf(h.layer, h.color, "");
        if (h.solid)
            p.Path(style, h.paths, true, true, 0);
        else
            p.Hatch(style, h.paths, h.families);
    }
}

// The records of a set the picture shows, in the order read (what a later
// one covers stays hidden, as it does where the drawing was made): the
// kinds' lists, each in read order, merged by place. Records without a place
// (made by the host) come last, kind after kind in section order. The merge
// is made once, as runs of records of one list.
struct Run {
    uint32_t list;  // the set's non-empty lists in section order, the kept records last
    uint32_t from, to;
};

// f(list, count, placeOf) for each non-empty list of the set, in the order
// of Run::list; placeOf(at) the place of the list's record at.
template <class Set, class F>
void forEachList(const Set& set, F&& f) {
    std::size_t n = 0;
    kinds::ForEachInSectionOrder([&]<Kind K>() {
        if constexpr (Holds<Set, K> && kinds::RowOf(K).write)
            if (const auto& list = ListIn<K>(set); list && list->Count() > 0)
                f(n++, static_cast<std::size_t>(list->Count()), [&](std::size_t at) { return list->ItemRef(static_cast<int32_t>(at)).kept.place; });
    });
    if (const KeptEntities* raw = entity_sets::RawOf(set); raw && !raw->Items().empty())
        f(n++, raw->Items().size(), [&](std::size_t at) { return raw->Items()[at].Place; });
}

template <class Set>
std::vector<Run> orderOf(const Set& set) {
    // Each list's keys first, read in one sweep: the place, in the low bits the list.
    std::array<std::vector<uint64_t>, kinds::kCount + 1> keys;
    std::size_t n = 0;
    forEachList(set, [&](std::size_t list, std::size_t count, auto&& placeOf) {
        std::vector<uint64_t>& k = keys[list];
        k.resize(count + 1);
        for (std::size_t at = 0; at < count; ++at) {
            const uint32_t place = placeOf(at);
            k[at] = (place ? uint64_t{place} : uint64_t{1} << 32) << 8 | list;
        }
        k[count] = UINT64_MAX;
        n = list + 1;
    });
    std::vector<Run> runs;
    std::array<std::size_t, kinds::kCount + 1> at{};
    for (;;) {  // the list of the least key runs up to the next least
        std::size_t first = 0;
        for (std::size_t i = 1; i < n; ++i)
            if (keys[i][at[i]] < keys[first][at[first]]) first = i;
        if (n == 0 || keys[first][at[first]] == UINT64_MAX) return runs;
        uint64_t second = UINT64_MAX;
        for (std::size_t i = 0; i < n; ++i)
            if (i != first) second = std::min(second, keys[i][at[i]]);
        const std::size_t from = at[first];
        while (keys[first][at[first]] < second) ++at[first];
        runs.push_back({static_cast<uint32_t>(first), static_cast<uint32_t>(from), static_cast<uint32_t>(at[first])});
    }
}

// Each list from where a share of its records is done, or up to there.
template <class Set>
std::vector<Run> shareOfLists(const Set& set, double share, bool after) {
    std::vector<Run> runs;
    forEachList(set, [&](std::size_t list, std::size_t count, auto&&) {
        const auto at = static_cast<uint32_t>(static_cast<double>(count) * share);
        runs.push_back({static_cast<uint32_t>(list), after ? at : 0, after ? static_cast<uint32_t>(count) : at});
    });
    return runs;
}

template <class P, class Set>
void drawRuns(P& p, const Set& set, std::span<const Run> runs) {
    using Draw = void (*)(P&, const Set&, std::size_t from, std::size_t to);
    std::array<Draw, kinds::kCount + 1> lists;
    std::size_t n = 0;
    kinds::ForEachInSectionOrder([&]<Kind K>() {
        if constexpr (Holds<Set, K> && kinds::RowOf(K).write)
            if (const auto& list = ListIn<K>(set); list && list->Count() > 0)
                lists[n++] = [](P& p, const Set& s, std::size_t from, std::size_t to) {
                    const auto& list = *ListIn<K>(s);
                    for (std::size_t at = from; at < to; ++at) {
                        const auto& r = list.ItemRef(static_cast<int32_t>(at));
                        if (p.scene.Shows(r.Layer)) draw(p, r);
                    }
                };
    });
    if (const KeptEntities* raw = entity_sets::RawOf(set); raw && !raw->Items().empty())
        lists[n++] = [](P& p, const Set& s, std::size_t from, std::size_t to) {
            const std::vector<RawEntity>& items = entity_sets::RawOf(s)->Items();
            for (std::size_t at = from; at < to; ++at) drawKept(p, items[at]);
        };
    struct KeptScope {
        Scene& scene;
        const KeptEntities* before;
        ~KeptScope() { scene.kept = before; }
    } keptScope{p.scene, std::exchange(p.scene.kept, entity_sets::RawOf(set))};
    for (const Run& r : runs) lists[r.list](p, set, r.from, r.to);
}

template <class P, class Set>
void drawAll(P& p, const Set& set) {
    drawRuns(p, set, orderOf(set));
}

// A block's box in its own coordinates, measured once; a block that
// reaches itself adds nothing the second time.
const Box& blockBox(Scene& scene, int block) {
    const std::size_t i = static_cast<std::size_t>(block);
    if (scene.measuring[i] == 1) scene.cycles = true;
    if (scene.measuring[i] == 0) {
        scene.measuring[i] = 1;
        const bool was = scene.inBlock;
        scene.inBlock = true;
        Measure m{scene, {}};
        drawAll(m, scene.Block(block));
        scene.inBlock = was;
        scene.blockBoxes[i] = m.box;
        scene.measuring[i] = 2;
    }
    return scene.blockBoxes[i];
}

void Measure::Use(const Style&, int block, double x, double y, double sx, double sy, double rot, double bx, double by) {
    const Box b = blockBox(scene, block);
    if (b.Empty()) return;
    const double c = std::cos(rot * kDegree), s = std::sin(rot * kDegree);
    for (double u : {b.x0, b.x1})
        for (double v : {b.y0, b.y1}) {
            const double dx = (u - bx) * sx, dy = (v - by) * sy;
            box.Add(x + c * dx - s * dy, y + s * dx + c * dy);
        }
}


// With two processors, a large drawing's model space is drawn by two threads.
// The box: each measures a part of every list (the order does not matter
// to it), the other merging the lists meanwhile. The elements: in parts of
// some thousand records, each thread drawing the next part not yet taken,
// this one also writing the parts done in their order (so a few are held at
// a time). A hatch's pattern is defined where first used, and the box of a
// block reaching itself depends on where it was first met: with these all is
// drawn in order on one thread.
constexpr std::size_t kRecordsWorthAThread = 5000;
constexpr std::size_t kRecordsPerPart = 2000;
constexpr double kShareMeasuredHere = 0.65;  // the other thread merges the lists too

// The parts of the picture, drawn by two threads and written in order.
class Parts {
public:
    // parts + 1 bounds: the runs of part k are those from bound k to k + 1.
    explicit Parts(std::vector<std::size_t> bounds) : bounds_(std::move(bounds)), done_(bounds_.size() - 1), ready_(bounds_.size() - 1) {}

    std::size_t Count() const { return done_.size(); }
    // The next part to draw and its runs' bounds; false when none is left.
    bool Next(std::size_t& part, std::size_t& from, std::size_t& to) {
        part = next_.fetch_add(1);
        if (part >= Count()) return false;
        from = bounds_[part], to = bounds_[part + 1];
        return true;
    }
    void Stop() { next_.store(Count()); }
    // A text to draw a part into (one written before, for its room).
    std::string Blank() {
        const std::lock_guard lock(mutex_);
        if (spare_.empty()) return {};
        std::string text = std::move(spare_.back());
        spare_.pop_back();
        text.clear();
        return text;
    }
    void Done(std::size_t part, std::string text) {
        {
            const std::lock_guard lock(mutex_);
            done_[part] = std::move(text);
            ready_[part] = 1;
        }
        changed_.notify_one();
    }
    void Fail(std::exception_ptr failure) {
        {
            const std::lock_guard lock(mutex_);
            failure_ = std::move(failure);
        }
        changed_.notify_one();
    }
    // Writes the parts done in order, up to one not done; with wait, all.
    void Write(Out& out, bool wait) {
        std::unique_lock lock(mutex_);
        while (written_ < Count()) {
            if (wait) changed_.wait(lock, [&] { return ready_[written_] || failure_; });
            if (!ready_[written_]) {
                if (failure_) std::rethrow_exception(failure_);
                return;
            }
            std::string text = std::move(done_[written_++]);
            lock.unlock();
            out.Write(text);
            lock.lock();
            spare_.push_back(std::move(text));
        }
    }

private:
    std::vector<std::size_t> bounds_;
    std::atomic<std::size_t> next_{0};
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> done_;
    std::vector<char> ready_;
    std::vector<std::string> spare_;
    std::size_t written_ = 0;
    std::exception_ptr failure_;
};

// The bounds of parts of at least kRecordsPerPart records each, at runs' ends.
std::vector<std::size_t> partsOf(std::span<const Run> runs) {
    std::vector<std::size_t> bounds{0};
    std::size_t records = 0;
    for (std::size_t i = 0; i < runs.size(); ++i) {
        records += runs[i].to - runs[i].from;
        if (records >= kRecordsPerPart || i + 1 == runs.size()) bounds.push_back(i + 1), records = 0;
    }
    return bounds;
}

// Draws the parts taken on this thread, the other drawing with its own scene.
void paintParts(Scene& scene, Parts& parts, Out& out, double px, const ENTITIES& model, std::span<const Run> order, bool writer) {
    std::string text;
    Out into("", &text);
    into.SetGrid(px / 20);
    Paint p{scene, into, px, {}, nullptr};
    for (std::size_t part, from, to; parts.Next(part, from, to);) {
        text = parts.Blank();
        drawRuns(p, model, order.subspan(from, to - from));
        into.flush();
        parts.Done(part, std::move(text));
        if (writer) parts.Write(out, false);
    }
}

// Whether the model space is worth two threads and can be drawn by them.
bool twoThreads(Scene& scene, const ENTITIES& model) {
    std::size_t records = 0;
    bool hatches = false;
    kinds::ForEachInSectionOrder([&]<Kind K>() {
        if constexpr (Holds<ENTITIES, K> && kinds::RowOf(K).write)
            if (const auto& list = ListIn<K>(model); list && list->Count() > 0)
                records += static_cast<std::size_t>(list->Count()), hatches = hatches || K == Kind::Hatch;
    });
    if (const KeptEntities* raw = entity_sets::RawOf(model)) {
        records += raw->Items().size();
        for (const RawEntity& e : raw->Items()) hatches = hatches || EqualsNoCase(e.Name, "HATCH");
    }
    if (records < kRecordsWorthAThread || hatches || std::thread::hardware_concurrency() < 2) return false;
    // The blocks' boxes first, for both threads to read.
    const std::size_t blocks = scene.blockBoxes.size();
    for (std::size_t i = 0; i < blocks; ++i) blockBox(scene, static_cast<int>(i));
    if (!scene.cycles) return true;
    scene.blockBoxes.assign(blocks, Box{}), scene.measuring.assign(blocks, 0), scene.cycles = false;
    return false;
}

Box measured(Scene& scene, const ENTITIES& model, std::span<const Run> runs) {
    Measure m{scene, {}};
    drawRuns(m, model, runs);
    return m.box;
}

}  // namespace

void WriteSvg(const DXFDocument& doc, const SvgOptions& options, const std::string& fileName, std::string* text) {
    Scene scene(doc, options);
    const std::size_t blocks = static_cast<std::size_t>(doc.BLOCKS()->Count());
    scene.blockBoxes.assign(blocks, Box{});
    scene.measuring.assign(blocks, 0);
    const ENTITIES& model = *doc.ENTITIES();
    const bool split = twoThreads(scene, model);
    std::vector<Run> order;
    Box box;
    if (split) {
        Scene other = scene;
        Box theirs;
        std::exception_ptr failure;
        {
            const std::jthread helper([&] {
                try {
                    order = orderOf(model);
                    theirs = measured(other, model, shareOfLists(model, kShareMeasuredHere, true));
                } catch (...) {
                    failure = std::current_exception();
                }
            });
            box = measured(scene, model, shareOfLists(model, kShareMeasuredHere, false));
        }
        if (failure) std::rethrow_exception(failure);
        if (!theirs.Empty()) box.Add(theirs.x0, theirs.y0), box.Add(theirs.x1, theirs.y1);
    } else {
        order = orderOf(model);
        box = measured(scene, model, order);
    }
    if (box.Empty()) box = Box{0, 0, 1, 1};
    const double margin = std::max(box.x1 - box.x0, box.y1 - box.y0) * 0.02 + 1e-9;
    box.x0 -= margin, box.y0 -= margin, box.x1 += margin, box.y1 += margin;
    const double w = box.x1 - box.x0, h = box.y1 - box.y0;
    const double width = options.width > 0 ? options.width : 1000;

    Out out(fileName, text);
    Paint paint{scene, out, w / width, {}, nullptr};
    out.SetGrid(paint.px / 20);
    out << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<svg xmlns=\"http://www.w3.org/2000/svg\" "
           "xmlns:xlink=\"http://www.w3.org/1999/xlink\" width=\""
        << width << "\" height=\"" << std::round(width * h / w) << "\" viewBox=\"" << box.x0 << ' ' << -box.y1 << ' ' << w << ' ' << h
        << "\">\n";
    if (!options.background.empty()) {
        out << "<rect x=\"" << box.x0 << "\" y=\"" << -box.y1 << "\" width=\"" << w << "\" height=\"" << h << "\" fill=\"";
        paint.escaped(options.background);
        out << "\"/>\n";
    }
    out << "<g transform=\"scale(1 -1)\" fill=\"none\" stroke=\"currentColor\" color=\"" << scene.Foreground() << "\" stroke-width=\""
        << paint.px << "\" stroke-linecap=\"round\" stroke-linejoin=\"round\">\n<defs>\n";
    scene.inBlock = true;
    for (std::size_t i = 0; i < blocks; ++i) {
        out << "<g id=\"b" << static_cast<double>(i) << "\">\n";
        drawAll(paint, scene.Block(static_cast<int>(i)));
        out << "</g>\n";
    }
    scene.inBlock = false;
    out << "</defs>\n";
    if (split) {
        Parts parts(partsOf(order));
        Scene other = scene;
        const std::jthread helper([&] {
            try {
                paintParts(other, parts, out, paint.px, model, order, false);
            } catch (...) {
                parts.Fail(std::current_exception());
            }
        });
        try {
            paintParts(scene, parts, out, paint.px, model, order, true);
            parts.Write(out, true);
        } catch (...) {
            parts.Stop();
            throw;
        }
    } else {
        drawRuns(paint, model, order);
    }
    out << "</g>\n</svg>\n";
    out.flush();
}

}  // namespace ormavec
