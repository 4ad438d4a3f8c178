// The ormavec command: converts a drawing (load, then save) and prints a
// summary of what the model holds, for people or as JSON.
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "ormavec.h"

#ifndef ORMAVEC_VERSION
#error "ORMAVEC_VERSION comes from the build: the project version in CMakeLists.txt"
#endif

namespace {

using namespace ormavec;

constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

constexpr std::string_view kMainHelp =
    "Usage: ormavec COMMAND [OPTIONS] ...\n"
    "\n"
    "Reads ASCII DXF drawings into the Ormavec model and writes them back.\n"
    "\n"
    "Commands:\n"
    "  convert IN OUT     load IN and save the model as OUT (\"-\" for standard\n"
    "                     input or output)\n"
    "  info [--json] IN   summarise what the model of IN holds\n"
    "  render IN OUT.svg  draw the model space of IN as an SVG picture\n"
    "\n"
    "Options:\n"
    "  -h, --help         show this help (or a command's, after the command)\n"
    "  --version          show the version\n";

constexpr std::string_view kConvertHelp =
    "Usage: ormavec convert [OPTIONS] IN OUT\n"
    "\n"
    "Loads the drawing IN and saves the model as a complete DXF file OUT. By\n"
    "default the text encoding of IN is detected and OUT is a standard-conforming\n"
    "file: an older drawing is saved as AC1015, with owner handles and a handle\n"
    "seed above its last handle.\n"
    "\n"
    "Options:\n"
    "  --classic           read text as single-byte and save the fixed structure of\n"
    "                      the original component under the drawing's own version\n"
    "  --binary            save OUT as a binary DXF file of the same content\n"
    "  --utf8              repair UTF-8 encoded accented letters while reading\n"
    "  --codepage CP       code page of the files by DXF name or number (ANSI_1251,\n"
    "                      1251, DOS866, ISO8859-2, BIG5 ...); by default the page\n"
    "                      the drawing declares, or 1250\n"
    "  --version-mode N    version mode of the reader (6 or more reads hatches in blocks)\n"
    "  --call-log FILE     append the trace of the save to FILE\n"
    "  --recover           repair blank group-code lines, decimal commas and blanks\n"
    "                      inside numbers, with a warning for each\n"
    "  --strict            fail (exit 1) on any warning, such as a drawing cut short\n"
    "  --r12               save a plain R12 (AC1009) file for programs that read only\n"
    "                      that version: LWPOLYLINE as POLYLINE, ELLIPSE and SPLINE as\n"
    "                      polylines of chords, MTEXT as TEXT lines; HATCH is left out\n"
    "                      (warning)\n"
    "  --handles           with --r12: give the entities handles\n"
    "  --tolerance T       with --r12: the largest distance of a curve's chords from\n"
    "                      it, in drawing units (default: 1/1000 of an ellipse's major\n"
    "                      radius, of the diagonal of a spline's control points' box)\n"
    "\n"
    "OUT is written to a temporary file beside it that then replaces it (a symbolic\n"
    "link stays, the file it leads to is replaced; other hard links of OUT keep\n"
    "the old content). A device, a pipe or \"-\" is written straight through.\n"
    "  -h, --help          show this help\n";

constexpr std::string_view kInfoHelp =
    "Usage: ormavec info [OPTIONS] IN\n"
    "\n"
    "Loads the drawing IN (\"-\" for standard input) and prints its version, extents, entity counts,\n"
    "attributes, tables and blocks. The text encoding of IN is detected; IN may be binary DXF.\n"
    "\n"
    "Options:\n"
    "  --json              print one JSON object instead of text\n"
    "  --recover           repair blank group-code lines, decimal commas and blanks\n"
    "                      inside numbers, with a warning for each\n"
    "  --strict            fail (exit 1) on any warning, such as a drawing cut short\n"
    "  --classic           read text as single-byte, as the original component did\n"
    "  --utf8              repair UTF-8 encoded accented letters while reading\n"
    "  --codepage CP       code page of the file by DXF name or number (ANSI_1251,\n"
    "                      1251 ...); by default the page it declares, or 1250\n"
    "  --version-mode N    version mode of the reader (6 or more reads hatches in blocks)\n"
    "  -h, --help          show this help\n";

constexpr std::string_view kRenderHelp =
    "Usage: ormavec render [OPTIONS] IN OUT.svg\n"
    "\n"
    "Loads the drawing IN and draws its model space as an SVG picture OUT (\"-\" for\n"
    "standard output), fitted to what is drawn, y up. Frozen and switched-off\n"
    "layers are hidden; colours by index, line types as dashes, hatches filled.\n"
    "\n"
    "Options:\n"
    "  --layer NAME        draw only this layer (repeatable)\n"
    "  --background COLOR  fill the picture with a CSS colour (default: none)\n"
    "  --width PIXELS      the picture's width (default 1000)\n"
    "  --codepage CP, --classic, --utf8, --recover, --strict, --version-mode N\n"
    "                      read IN as convert does\n"
    "  -h, --help          show this help\n";

struct UsageError {
    std::string message;
};

// One line on stderr, whatever the message holds: controls and bytes that
// are not UTF-8 are escaped.
void printError(std::string_view message, std::string_view prefix = "ormavec: ") {
    std::string line(prefix);
    for (char c : message) line.push_back(c == '\n' || c == '\r' ? ' ' : c);
    line = Printable(line, 4096);
    line.push_back('\n');
    std::fputs(line.c_str(), stderr);
}

struct SaveOptions {
    bool r12 = false;
    bool handles = false;
    double tolerance = 0;
};

struct LoadOptions {
    bool utf8 = false;
    bool classic = false;
    bool recover = false;
    bool strict = false;
    std::optional<CodePage> codePage;
    std::optional<int16_t> versionMode;
};

struct Arguments {
    LoadOptions load;
    SaveOptions save;
    SvgOptions svg;
    bool json = false;
    bool help = false;
    bool binary = false;
    std::optional<std::string> callLog;
    std::vector<std::string> positional;
};

int16_t parseVersionMode(std::string_view text) {
    int16_t value = 0;
    auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (ec != std::errc() || end != text.data() + text.size())
        throw UsageError{"--version-mode needs an integer from -32768 to 32767, not '" + std::string(text) + "'"};
    return value;
}

CodePage parseCodePage(std::string_view text) {
    if (std::optional<CodePage> cp = ParseCodePage(text)) return *cp;
    throw UsageError{"unknown --codepage '" + std::string(text) + "'; accepted: " + std::string(CodePageForms())};
}

double parseNumber(std::string_view option, std::string_view text) {
    double value = 0;
    auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (ec != std::errc() || end != text.data() + text.size() || !(value >= 0) || !std::isfinite(value))
        throw UsageError{std::string(option) + " needs a number, 0 or more, not '" + std::string(text) + "'"};
    return value;
}

// Options may come before or between the positional arguments; "--" ends them.
Arguments parseArguments(std::string_view command, const std::vector<std::string_view>& args) {
    const bool isConvert = command == "convert";
    const bool isRender = command == "render";
    Arguments a;
    bool optionsDone = false;
    for (std::size_t i = 0; i < args.size(); ++i) {
        std::string_view arg = args[i];
        if (optionsDone || arg.size() < 2 || arg[0] != '-') {
            a.positional.emplace_back(arg);
            continue;
        }
        std::string_view name = arg;
        std::optional<std::string_view> inlineValue;
        if (auto eq = arg.find('='); eq != std::string_view::npos && arg.starts_with("--")) {
            name = arg.substr(0, eq);
            inlineValue = arg.substr(eq + 1);
        }
        auto value = [&]() -> std::string_view {
            if (inlineValue) return *inlineValue;
            if (i + 1 >= args.size()) throw UsageError{std::string(name) + " needs a value"};
            return args[++i];
        };
        if (name == "--") {
            optionsDone = true;
        } else if (name == "-h" || name == "--help") {
            a.help = true;
        } else if (name == "--utf8") {
            a.load.utf8 = true;
        } else if (name == "--classic") {
            a.load.classic = true;
        } else if (name == "--recover") {
            a.load.recover = true;
        } else if (name == "--strict") {
            a.load.strict = true;
        } else if (name == "--codepage") {
            a.load.codePage = parseCodePage(value());
        } else if (name == "--version-mode") {
            a.load.versionMode = parseVersionMode(value());
        } else if (name == "--call-log" && isConvert) {
            std::string_view file = value();
            if (file.empty()) throw UsageError{"--call-log needs a file name"};
            a.callLog = std::string(file);
        } else if (name == "--r12" && isConvert) {
            a.save.r12 = true;
        } else if (name == "--handles" && isConvert) {
            a.save.handles = true;
        } else if (name == "--tolerance" && isConvert) {
            a.save.tolerance = parseNumber(name, value());
        } else if (name == "--layer" && isRender) {
            a.svg.layers.emplace_back(value());
        } else if (name == "--background" && isRender) {
            a.svg.background = std::string(value());
        } else if (name == "--width" && isRender) {
            a.svg.width = parseNumber(name, value());
            if (a.svg.width < 1) throw UsageError{"--width needs a number of pixels, 1 or more"};
        } else if (name == "--binary" && isConvert) {
            a.binary = true;
        } else if (name == "--json" && command == "info") {
            a.json = true;
        } else {
            throw UsageError{"unknown option '" + std::string(arg) + "' for '" + std::string(command) + "' (see ormavec " +
                             std::string(command) + " --help)"};
        }
        if (inlineValue && (name == "--utf8" || name == "--json" || name == "--help" || name == "--classic" || name == "--recover" ||
                            name == "--strict" || name == "--r12" || name == "--handles" ||
                            name == "--binary"))
            throw UsageError{std::string(name) + " takes no value"};
    }
    return a;
}

// A bar on stderr while loading or saving, only when a person watches the
// terminal; it fits the terminal's width, so it never wraps.
class ProgressBar {
public:
    explicit ProgressBar(std::string action, std::string label)
        : enabled_(::isatty(STDERR_FILENO) == 1), action_(std::move(action)), label_(std::move(label)) {}
    ~ProgressBar() { finish(); }

    void attach(DXFDocument& doc) {
        if (!enabled_) return;
        doc.Progress = [this](int32_t& percent) { drawPercent(percent); };
        doc.BytesProgress = [this](int64_t bytes) { drawBytes(bytes); };
    }
    void finish() {
        if (!enabled_ || !drawn_) return;
        std::fputs("\r\033[K", stderr);
        std::fflush(stderr);
        drawn_ = false;
    }

private:
    static int columns() {
        struct winsize ws {};
        if (::ioctl(STDERR_FILENO, TIOCGWINSZ, &ws) == 0 && ws.ws_col > 0) return ws.ws_col;
        int n = 0;
        const char* env = std::getenv("COLUMNS");
        if (env && std::from_chars(env, env + std::strlen(env), n).ec == std::errc() && n > 0) return n;
        return 80;
    }
    // The label cut from the front to what is left of the width.
    std::string fitted(std::size_t room) const {
        std::size_t chars = 0;
        for (char c : label_) chars += (static_cast<unsigned char>(c) & 0xC0) != 0x80;
        if (chars <= room) return label_;
        if (room < 4) return std::string();
        std::size_t drop = chars - (room - 3), i = 0;
        for (; i < label_.size() && drop > 0; ++i)
            if ((static_cast<unsigned char>(label_[i]) & 0xC0) != 0x80) --drop;
        while (i < label_.size() && (static_cast<unsigned char>(label_[i]) & 0xC0) == 0x80) ++i;
        return "..." + label_.substr(i);
    }
    void drawPercent(int32_t percent) {
        if (percent < 0) percent = 0;
        if (percent > 100) percent = 100;
        // One column is kept free: a line that fills the last one wraps on some terminals.
        const int width = columns() - 1;
        const int fixed = static_cast<int>(action_.size()) + 1 + 8;  // "ACTION " and " [" "] 100%"
        const int bar = std::clamp(width - fixed - static_cast<int>(label_.size()), 10, 30);
        if (width < fixed + 1) return;
        std::string tail = " [";
        const int filled = percent * bar / 100;
        tail.append(static_cast<std::size_t>(filled), '#');
        tail.append(static_cast<std::size_t>(bar - filled), ' ');
        const std::string digits = std::to_string(percent);
        tail += "] " + std::string(3 - digits.size(), ' ') + digits + "%";  // a steady width: the label is not cut at 100%
        const int room = width - static_cast<int>(action_.size()) - 1 - static_cast<int>(tail.size());
        show(room > 0 ? action_ + " " + fitted(static_cast<std::size_t>(room)) + tail : std::string());
    }
    void drawBytes(int64_t bytes) {
        char mb[32];
        std::snprintf(mb, sizeof mb, " %.1f MB", static_cast<double>(bytes) / 1e6);
        const int room = columns() - 1 - static_cast<int>(action_.size()) - 1 - static_cast<int>(std::strlen(mb));
        show(room > 0 ? action_ + " " + fitted(static_cast<std::size_t>(room)) + mb : std::string());
    }
    void show(const std::string& text) {
        if (text.empty()) return;
        // Clearing to the end of the line leaves nothing of a longer line before.
        std::string line = "\r" + text + "\033[K";
        std::fputs(line.c_str(), stderr);
        std::fflush(stderr);
        drawn_ = true;
    }

    bool enabled_;
    bool drawn_ = false;
    std::string action_;
    std::string label_;
};

// Text encoding detected unless --classic; an explicit --utf8 keeps its repair.
void configure(DXFDocument& doc, const LoadOptions& o) {
    doc.SetTextConvertMode(o.utf8 ? TextConvertMode::FromUTF8 : o.classic ? TextConvertMode::None : TextConvertMode::Auto);
    if (o.codePage) doc.SetCodePage(*o.codePage);
    if (o.versionMode) doc.SetVersionMode(*o.versionMode);
}

// Loads or saves with a progress bar, which is gone when it returns.
template <class F>
void withBar(DXFDocument& doc, const char* action, const std::string& file, F&& work) {
    ProgressBar bar(action, Printable(file, 4096));
    bar.attach(doc);
    try {
        work();
    } catch (...) {
        bar.finish();
        doc.Progress = nullptr;
        doc.BytesProgress = nullptr;
        throw;
    }
    bar.finish();
    doc.Progress = nullptr;
    doc.BytesProgress = nullptr;
}

// The warnings of the load go to stderr; --strict makes the first one the error.
void load(DXFDocument& doc, const std::string& file, const LoadOptions& o) {
    doc.SetRecover(o.recover);
    withBar(doc, "Loading", file, [&] { doc.Load(file); });
    const std::vector<LoadWarning>& warnings = doc.Warnings();
    if (o.strict && !warnings.empty()) {
        std::string more = warnings.size() > 1 ? " (and " + std::to_string(warnings.size() - 1) + " more warnings)" : "";
        throw std::runtime_error(warnings.front().Text() + more);
    }
    for (const LoadWarning& w : warnings) printError(w.Text(), "ormavec: warning: ");
}

// ---- counting what the model holds ----

struct Count {
    std::string_view name;
    int64_t value;
};

template <class C>
int64_t countOf(const std::shared_ptr<C>& c) {
    return c ? c->Count() : 0;
}

// The command's counts follow the kinds list: ENTITIES in section order,
// a block in the order of its fields.
std::vector<Count> entityCounts(const ENTITIES& e) {
    std::vector<Count> counts;
    kinds::ForEachInSectionOrder([&]<Kind K>() {
        if constexpr (Holds<ENTITIES, K>) counts.push_back({kinds::RowOf(K).list, countOf(ListIn<K>(e))});
    });
    return counts;
}

std::vector<Count> blockCounts(const BLOCK_BLOCK& b) {
    std::vector<Count> counts;
    kinds::ForEach([&]<Kind K>() {
        if constexpr (Holds<BLOCK_BLOCK, K>) counts.push_back({kinds::RowOf(K).list, countOf(ListIn<K>(b))});
    });
    return counts;
}

int64_t attribsOf(const std::shared_ptr<INSERTS>& inserts) {
    int64_t n = 0;
    if (!inserts) return 0;
    for (const INSERT_ENT& i : *inserts) n += countOf(i.ATTRIBS);
    return n;
}

struct Summary {
    std::string file;
    int32_t acadVer = 0;
    std::string declaredPage, usedPage;
    XYZ extMin, extMax, insBase;
    double extent[4] = {0, 0, 0, 0};
    std::vector<Count> entities;
    int64_t attribs = 0;
    std::vector<Count> tables;
    struct Block {
        std::string name;
        std::vector<Count> entities;
    };
    std::vector<Block> blocks;
};

Summary summarise(const DXFDocument& doc, const std::string& file) {
    Summary s;
    s.file = file;
    const HEADER& h = *doc.HEADER();
    s.acadVer = h.AcadVer();
    s.declaredPage = h.DeclaredCodePage();
    s.usedPage = doc.ReadAsUtf8() ? "UTF-8" : CodePageName(doc.CodePage());
    s.extMin = h.ExtMin();
    s.extMax = h.ExtMax();
    s.insBase = h.InsBase();
    doc.ENTITIES()->ReCalcExtent(s.extent[0], s.extent[1], s.extent[2], s.extent[3]);
    s.entities = entityCounts(*doc.ENTITIES());
    s.attribs = attribsOf(doc.ENTITIES()->INSERTS());
    const TABLES& t = *doc.TABLES();
    s.tables = {{"LAYERS", countOf(t.LAYERS())}, {"LTYPES", countOf(t.LTYPES())}, {"STYLES", countOf(t.STYLES())}};
    for (const BLOCK_BLOCK& b : *doc.BLOCKS()) {
        s.attribs += attribsOf(b.INSERTS);
        s.blocks.push_back({b.BlockName, blockCounts(b)});
    }
    return s;
}

// ---- output ----

std::string number(double v) {
    if (!std::isfinite(v)) return "null";
    char buf[64];
    auto [end, ec] = std::to_chars(buf, buf + sizeof buf, v);
    if (ec != std::errc()) return "null";
    return std::string(buf, end);
}

// JSON string: valid UTF-8 in, escapes for quotes, backslashes and controls;
// a byte that is not part of valid UTF-8 becomes U+FFFD.
std::string jsonString(std::string_view s) {
    std::string out = "\"";
    std::size_t i = 0;
    while (i < s.size()) {
        unsigned char c = static_cast<unsigned char>(s[i]);
        if (c < 0x80) {
            switch (c) {
            case '"': out += "\\\""; break;
            case '\\': out += "\\\\"; break;
            case '\b': out += "\\b"; break;
            case '\f': out += "\\f"; break;
            case '\n': out += "\\n"; break;
            case '\r': out += "\\r"; break;
            case '\t': out += "\\t"; break;
            default:
                if (c < 0x20) {
                    char buf[8];
                    std::snprintf(buf, sizeof buf, "\\u%04x", c);
                    out += buf;
                } else {
                    out.push_back(static_cast<char>(c));
                }
            }
            ++i;
            continue;
        }
        std::size_t len = c >= 0xF0 && c <= 0xF4 ? 4 : c >= 0xE0 ? 3 : c >= 0xC2 && c <= 0xDF ? 2 : 0;
        if (c >= 0xF5) len = 0;
        bool ok = len != 0 && i + len <= s.size();
        for (std::size_t k = 1; ok && k < len; ++k) ok = (static_cast<unsigned char>(s[i + k]) & 0xC0) == 0x80;
        if (ok) {
            // Overlong forms, surrogates and values above U+10FFFF are not UTF-8.
            unsigned char c1 = static_cast<unsigned char>(s[i + 1]);
            if (len == 3 && ((c == 0xE0 && c1 < 0xA0) || (c == 0xED && c1 >= 0xA0))) ok = false;
            if (len == 4 && ((c == 0xF0 && c1 < 0x90) || (c == 0xF4 && c1 >= 0x90))) ok = false;
        }
        if (ok) {
            out.append(s.substr(i, len));
            i += len;
        } else {
            out += "\xEF\xBF\xBD";
            ++i;
        }
    }
    out += "\"";
    return out;
}

std::string jsonPoint(const XYZ& p) { return "[" + number(p.X) + "," + number(p.Y) + "," + number(p.Z) + "]"; }

std::string jsonCounts(const std::vector<Count>& counts) {
    std::string out = "{";
    for (std::size_t i = 0; i < counts.size(); ++i) {
        if (i) out += ",";
        out += jsonString(counts[i].name) + ":" + std::to_string(counts[i].value);
    }
    return out + "}";
}

std::string toJson(const Summary& s) {
    std::string out = "{";
    out += "\"file\":" + jsonString(s.file);
    out += ",\"acadver\":" + std::to_string(s.acadVer);
    out += ",\"codepage\":{\"declared\":" + (s.declaredPage.empty() ? std::string("null") : jsonString(s.declaredPage)) +
           ",\"used\":" + jsonString(s.usedPage) + "}";
    out += ",\"header\":{\"extmin\":" + jsonPoint(s.extMin) + ",\"extmax\":" + jsonPoint(s.extMax) +
           ",\"insbase\":" + jsonPoint(s.insBase) + "}";
    out += ",\"extent\":[" + number(s.extent[0]) + "," + number(s.extent[1]) + "," + number(s.extent[2]) + "," +
           number(s.extent[3]) + "]";
    out += ",\"entities\":" + jsonCounts(s.entities);
    out += ",\"attribs\":" + std::to_string(s.attribs);
    out += ",\"tables\":" + jsonCounts(s.tables);
    out += ",\"blocks\":[";
    for (std::size_t i = 0; i < s.blocks.size(); ++i) {
        if (i) out += ",";
        out += "{\"name\":" + jsonString(s.blocks[i].name) + ",\"entities\":" + jsonCounts(s.blocks[i].entities) + "}";
    }
    out += "]}\n";
    return out;
}

std::string textPoint(const XYZ& p) { return number(p.X) + ", " + number(p.Y) + ", " + number(p.Z); }

// Pads to a width in characters, not bytes.
std::string padded(std::string_view text, std::size_t width) {
    std::size_t chars = 0;
    for (char c : text) chars += (static_cast<unsigned char>(c) & 0xC0) != 0x80;
    std::string out(text);
    if (chars < width) out.append(width - chars, ' ');
    return out;
}

// Only the non-zero counts, "LINES 4, ARCS 1", or "empty".
std::string nonZero(const std::vector<Count>& counts) {
    std::string out;
    for (const Count& c : counts) {
        if (c.value == 0) continue;
        if (!out.empty()) out += ", ";
        out += std::string(c.name) + " " + std::to_string(c.value);
    }
    return out.empty() ? "empty" : out;
}

std::string toText(const Summary& s) {
    std::string out;
    out += "File:      " + s.file + "\n";
    out += "Version:   " + (s.acadVer ? "AC" + std::to_string(s.acadVer) : std::string("unknown")) + "\n";
    out += "Code page: " + (s.declaredPage.empty() ? std::string("none declared") : "declared " + s.declaredPage) + ", read as " +
           s.usedPage + "\n";
    out += "Header:    $EXTMIN  " + textPoint(s.extMin) + "\n";
    out += "           $EXTMAX  " + textPoint(s.extMax) + "\n";
    out += "           $INSBASE " + textPoint(s.insBase) + "\n";
    out += "Extent:    (" + number(s.extent[0]) + ", " + number(s.extent[1]) + ") - (" + number(s.extent[2]) + ", " +
           number(s.extent[3]) + ")\n";
    int64_t total = 0;
    for (const Count& c : s.entities) total += c.value;
    out += "Entities:  " + std::to_string(total) + "\n";
    for (const Count& c : s.entities) out += "  " + padded(c.name, 13) + std::to_string(c.value) + "\n";
    out += "Attributes held by inserts: " + std::to_string(s.attribs) + "\n";
    out += "Tables:    ";
    for (std::size_t i = 0; i < s.tables.size(); ++i)
        out += (i ? ", " : "") + std::string(s.tables[i].name) + " " + std::to_string(s.tables[i].value);
    out += "\n";
    out += "Blocks:    " + std::to_string(s.blocks.size()) + "\n";
    for (const Summary::Block& b : s.blocks) out += "  " + padded(b.name, 20) + " " + nonZero(b.entities) + "\n";
    return out;
}

void writeStdout(const std::string& text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0)
        throw std::runtime_error("cannot write to standard output");
}

// ---- commands ----

// The one model of a command. The process ends right after the command, so
// the model is left to the system instead of being freed record by record
// (a tenth of a large load's time); the pointer keeps it reachable.
DXFDocument& processDocument() {
    static DXFDocument* const doc = new DXFDocument();
    return *doc;
}

int runConvert(const Arguments& a) {
    if (a.positional.size() != 2)
        throw UsageError{"convert needs an input and an output file (see ormavec convert --help)"};
    DXFDocument& doc = processDocument();
    configure(doc, a.load);
    if (!a.load.classic) doc.SetSaveMode(SaveMode::Standard);
    // An R12 file cannot hold what a preserving load keeps: such a load counts it instead.
    doc.SetPreserve(!a.load.classic && !a.save.r12);
    doc.SetKeepSplines(a.save.r12);
    if (a.save.r12) doc.SetSaveMode(SaveMode::R12);
    if ((a.save.handles || a.save.tolerance > 0) && !a.save.r12) throw UsageError{"--handles and --tolerance go with --r12"};
    doc.SetR12Handles(a.save.handles);
    doc.SetR12Tolerance(a.save.tolerance);
    doc.SetBinary(a.binary);
    if (a.callLog) {
        clsDebug debug;
        debug.sLogFileName(*a.callLog);
        debug.bCallLog(true);
    }
    load(doc, a.positional[0], a.load);
    const std::size_t loaded = doc.Warnings().size();
    withBar(doc, "Saving", a.positional[1], [&] { doc.Save(a.positional[1]); });
    for (std::size_t i = loaded; i < doc.Warnings().size(); ++i) printError(doc.Warnings()[i].Text(), "ormavec: warning: ");
    // Said once saved, and not failed on with --strict: most drawings hold
    // something a save cannot write back.
    if (!doc.NotKept().Empty()) printError("not kept: " + doc.NotKept().Text(), "ormavec: warning: ");
    return 0;
}

int runRender(const Arguments& a) {
    if (a.positional.size() != 2) throw UsageError{"render needs an input drawing and an output picture (see ormavec render --help)"};
    DXFDocument& doc = processDocument();
    configure(doc, a.load);
    // The picture draws what it can read: hatches too, and SPLINEs.
    if (!a.load.versionMode) doc.SetVersionMode(6);
    doc.SetKeepSplines(true);
    load(doc, a.positional[0], a.load);
    withBar(doc, "Drawing", a.positional[1], [&] { doc.ToSvg(a.positional[1], a.svg); });
    return 0;
}

int runInfo(const Arguments& a) {
    if (a.positional.size() != 1) throw UsageError{"info needs exactly one input file (see ormavec info --help)"};
    DXFDocument& doc = processDocument();
    configure(doc, a.load);
    load(doc, a.positional[0], a.load);
    Summary s = summarise(doc, a.positional[0]);
    writeStdout(a.json ? toJson(s) : toText(s));
    return 0;
}

int run(int argc, char** argv) {
    std::vector<std::string_view> args(argv + 1, argv + argc);
    if (args.empty()) throw UsageError{"no command given (see ormavec --help)"};
    std::string_view command = args.front();
    if (command == "-h" || command == "--help" || command == "help") {
        writeStdout(std::string(kMainHelp));
        return 0;
    }
    if (command == "--version") {
        writeStdout("ormavec " ORMAVEC_VERSION "\n");
        return 0;
    }
    if (command != "convert" && command != "info" && command != "render") {
        if (command.starts_with("-")) throw UsageError{"unknown option '" + std::string(command) + "' (see ormavec --help)"};
        throw UsageError{"unknown command '" + std::string(command) + "' (see ormavec --help)"};
    }
    std::vector<std::string_view> rest(args.begin() + 1, args.end());
    Arguments a = parseArguments(command, rest);
    if (a.help) {
        writeStdout(std::string(command == "convert" ? kConvertHelp : command == "render" ? kRenderHelp : kInfoHelp));
        return 0;
    }
    return command == "convert" ? runConvert(a) : command == "render" ? runRender(a) : runInfo(a);
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const UsageError& e) {
        printError(e.message);
        return kExitUsage;
    } catch (const ormavec::Error& e) {
        printError(e.what());
        return kExitFailure;
    } catch (const std::bad_alloc&) {
        printError("out of memory");
        return kExitFailure;
    } catch (const std::exception& e) {
        printError(e.what());
        return kExitFailure;
    }
}
