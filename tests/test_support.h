// Small helpers shared by the test files: building DXF text, writing into
// memory, temporary folders and files, and catching raised errors.
#pragma once

#include <gtest/gtest.h>

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "diagnostics/call_log.h"
#include "io/error.h"
#include "io/reader.h"
#include "io/writer.h"
#include "document/save_context.h"
#include "entities/collections.h"

namespace ormavec::test {

// "code value" per line, as the file's pairs: the code and value lines in
// order. A line holding only the code stands for an empty value; blank lines
// are skipped.
inline std::vector<std::string> PairLines(std::string_view pairs) {
    std::vector<std::string> out;
    std::size_t pos = 0;
    while (pos < pairs.size()) {
        std::size_t eol = pairs.find('\n', pos);
        if (eol == std::string_view::npos) eol = pairs.size();
        std::string_view line = pairs.substr(pos, eol - pos);
        pos = eol + 1;
        std::size_t first = line.find_first_not_of(' ');
        if (first == std::string_view::npos) continue;
        line.remove_prefix(first);
        std::size_t space = line.find(' ');
        out.emplace_back(line.substr(0, space));
        out.emplace_back(space == std::string_view::npos ? std::string_view{} : line.substr(space + 1));
    }
    return out;
}

// The same pairs as the file text, every line ended by CR LF.
inline std::string Dxf(std::string_view pairs) {
    std::string out;
    for (const std::string& line : PairLines(pairs)) out.append(line).append("\r\n");
    return out;
}

// The CR LF terminated lines of a text; a last line without CR LF is marked.
inline std::vector<std::string> SplitCrLf(const std::string& text) {
    std::vector<std::string> lines;
    std::size_t pos = 0;
    while (pos < text.size()) {
        std::size_t eol = text.find("\r\n", pos);
        if (eol == std::string::npos) {
            lines.push_back(text.substr(pos) + "<no CR LF>");
            break;
        }
        lines.push_back(text.substr(pos, eol - pos));
        pos = eol + 2;
    }
    return lines;
}

// What `fn(writer)` writes into memory.
template <class Fn>
std::string Written(Fn&& fn) {
    std::string out;
    DXFWriter w;
    w.OpenString(&out);
    fn(w);
    w.CloseOutput();
    return out;
}

// Runs fn(save) with a save that numbers on from handle, and keeps the
// counter.
template <class Fn>
void WithSave(DXFWriter& writer, int32_t& handle, Fn&& fn) {
    SaveContext save(writer, handle);
    fn(save);
    handle = save.LastHandle();
}

// One record written on its own, numbering on from handle.
template <class R>
void WriteEntity(DXFWriter& writer, const R& record, int32_t& handle) {
    WithSave(writer, handle, [&](SaveContext& save) { ::ormavec::WriteEntity(save, record); });
}

inline std::string ReadFile(const std::filesystem::path& p) {
    std::ifstream in(p, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

inline void WriteFile(const std::filesystem::path& p, const std::string& content) {
    std::ofstream out(p, std::ios::binary);
    out << content;
}

// A fresh folder under the system's temporary folder, removed with all it holds.
class TempDir {
public:
    TempDir() {
        std::string tmpl = (std::filesystem::temp_directory_path() / "ormavec-test-XXXXXX").string();
        if (!::mkdtemp(tmpl.data())) throw std::runtime_error("mkdtemp");
        path_ = tmpl;
    }
    ~TempDir() {
        std::error_code ec;
        std::filesystem::remove_all(path_, ec);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    std::string operator/(const std::string& name) const { return (path_ / name).string(); }
    const std::filesystem::path& path() const { return path_; }
    std::vector<std::string> names() const {
        std::vector<std::string> out;
        for (const auto& e : std::filesystem::directory_iterator(path_)) out.push_back(e.path().filename().string());
        return out;
    }
    std::size_t entries() const {
        return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(path_),
                                                      std::filesystem::directory_iterator()));
    }

private:
    std::filesystem::path path_;
};

// Switches the call log of this thread on for one test and off again after it.
class CallLogScope {
public:
    explicit CallLogScope(const std::string& file) {
        clsDebug d;
        d.sLogFileName(file);
        d.bCallLog(true);
    }
    ~CallLogScope() {
        clsDebug d;
        d.bCallLog(false);
        d.sLogFileName("");
    }
    CallLogScope(const CallLogScope&) = delete;
    CallLogScope& operator=(const CallLogScope&) = delete;
};

// The error `f` raises; a failure of the test when it raises none.
template <class F>
Error Raised(F&& f) {
    try {
        f();
    } catch (const Error& e) {
        return e;
    }
    ADD_FAILURE() << "no error raised";
    return Error(0, "", "");
}

// The number of the error `f` raises; 0 when it raises none.
template <class F>
int32_t ErrorNumberOf(F&& f) {
    try {
        f();
    } catch (const Error& e) {
        return e.number();
    }
    return 0;
}

}  // namespace ormavec::test
