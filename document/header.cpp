#include "document/header.h"

#include "diagnostics/call_log.h"
#include "io/error.h"
#include "io/number.h"
#include "io/text.h"

namespace ormavec {

namespace {
// The $ACADVER text: "AC" and the number in four digits. This is the text of
// every version of the table (1006, 1009, 1012, 1014, 1015, 1018, 1500), and a
// version outside it is written the same way, so that the variable always
// has its value.
std::string versionText(int32_t version) {
    std::string digits = std::to_string(version < 0 ? -static_cast<int64_t>(version) : version);
    if (digits.size() < 4) digits.insert(0, 4 - digits.size(), '0');
    return (version < 0 ? "AC-" : "AC") + digits;
}
}  // namespace

int32_t HEADER::ParseVersion(std::string_view text, const DXFReader* reader) {
    std::size_t i = 0;
    while (i < text.size() && !(text[i] >= '0' && text[i] <= '9')) ++i;
    if (i == text.size()) return 0;
    std::string_view rest = text.substr(i);
    if (reader) return reader->ToInt32(rest);
    int32_t n = 0;
    switch (ParseInt32(rest, n)) {
    case ParseStatus::Ok: return n;
    case ParseStatus::TypeMismatch: RaiseError(err::TypeMismatch, kClassName, "Type mismatch: version \"" + std::string(text) + "\"");
    case ParseStatus::Overflow: RaiseError(err::Overflow, kClassName, "Overflow: version \"" + std::string(text) + "\"");
    }
    return n;
}

XYZ HEADER::readPoint(DXFReader& reader) {
    XYZ p{};
    // Exactly three pairs; one that is not a coordinate is pushed back, read
    // again next round, and left pushed back for the section loop.
    for (int round = 0; round < 3; ++round) {
        const DXFReader::Pair& pair = reader.Read();
        switch (pair.Code) {
        case 10: p.X = reader.ToDouble(pair.Value); break;
        case 20: p.Y = reader.ToDouble(pair.Value); break;
        case 30: p.Z = reader.ToDouble(pair.Value); break;
        default: reader.UnRead(); break;
        }
    }
    return p;
}

namespace {
// The variables a save writes itself, in the order of a save without kept
// variables; the first three only for a known version. Those after
// kModelValued hold constants, which give way to the file's values.
constexpr std::string_view kOwn[] = {"$ACADVER", "$DWGCODEPAGE", "$EXTMIN", "$EXTMAX", "$INSBASE", "$HANDSEED",
                                     "$ACADMAINTVER", "$LTSCALE", "$LUNITS", "$LUPREC", "$HANDLING"};
constexpr std::size_t kModelValued = 6;
constexpr std::string_view kWriteOrder[] = {"$ACADVER", "$ACADMAINTVER", "$DWGCODEPAGE", "$EXTMIN", "$EXTMAX", "$INSBASE",
                                            "$LTSCALE",  "$LUNITS",       "$LUPREC",      "$HANDLING", "$HANDSEED"};

bool modelValued(std::string_view upperName) {
    for (std::size_t i = 0; i < kModelValued; ++i)
        if (kOwn[i] == upperName) return true;
    return false;
}
}  // namespace

void HEADER::ReadSection(DXFReader& reader, bool preserve, NotKept* lost) {
    SetExtMax({});
    SetExtMin({});
    SetInsBase({});
    declaredCodePage_.clear();
    kept_.clear();
    KeptVariable* open = nullptr;  // the kept variable whose pairs come now
    while (!reader.AtEnd()) {
        const DXFReader::Pair& pair = reader.Read();
        if (pair.Value == "ENDSEC") return;
        if (pair.Code != 9) {
            if (open && pair.Code != 0) open->Pairs.push_back({pair.Code, std::string(reader.WithText().Value)});
            continue;
        }
        std::string name = UpperCase(pair.Value);
        open = nullptr;
        if (preserve) {
            kept_.push_back({std::string(pair.Value), {}});
            if (!modelValued(name)) open = &kept_.back();
        } else if (lost && !modelValued(name)) {
            ++lost->headerVariables;
        }
        if (name == "$ACADVER") {
            const DXFReader::Pair& value = reader.Read();
            if (value.Code == 1) SetAcadVer(ParseVersion(value.Value, &reader));
        } else if (name == "$DWGCODEPAGE") {
            const DXFReader::Pair& value = reader.Read();
            if (value.Code == 3)
                declaredCodePage_ = value.Value;
            else
                reader.UnRead();
        } else if (name == "$EXTMAX") {
            SetExtMax(readPoint(reader));
        } else if (name == "$EXTMIN") {
            SetExtMin(readPoint(reader));
        } else if (name == "$INSBASE") {
            SetInsBase(readPoint(reader));
        }
    }
}

bool HEADER::writeOwn(DXFWriter& w, std::string_view name, int32_t version, int32_t handleSeed) const {
    if (name == "$ACADVER" || name == "$ACADMAINTVER" || name == "$DWGCODEPAGE") {
        if (version == 0) return true;
        w.WriteString(9, name);
        if (name == "$ACADVER")
            w.WriteString(1, versionText(version));
        else if (name == "$ACADMAINTVER")
            w.WriteInteger(70, 0);
        else
            // A standard file names the code page its bytes are in (from AC1021
            // on they are UTF-8 whatever it names); the classic output always
            // names 1250.
            w.WriteString(3, !w.IsStandard() ? "ANSI_1250" : w.Utf8Output() && version < 1021 ? "UTF-8" : CodePageName(w.GetCodePage()));
        return true;
    }
    const XYZ* point = name == "$EXTMIN" ? &extMin_ : name == "$EXTMAX" ? &extMax_ : name == "$INSBASE" ? &insBase_ : nullptr;
    if (point) {
        w.WriteString(9, name);
        w.WritePoint(point->X, point->Y, point->Z, 10, 20, 30);
        return true;
    }
    if (name == "$HANDSEED") {
        w.WriteString(9, name);
        if (w.IsStandard())
            w.WriteHandle(5, handleSeed);
        else
            w.WriteInteger(5, 999999);
        return true;
    }
    const int32_t code = name == "$LTSCALE" ? 40 : name == "$HANDLING" ? 70 : name == "$LUNITS" || name == "$LUPREC" ? 70 : 0;
    if (code == 0) return false;
    w.WriteString(9, name);
    w.WriteInteger(code, name == "$LTSCALE" ? 1 : name == "$LUNITS" ? 2 : name == "$LUPREC" ? 10 : 0);
    return true;
}

void HEADER::writeKept(DXFWriter& w, int32_t version, int32_t handleSeed) const {
    // The kept variables in their order; those the save writes itself
    // and the file lacked go first, the handle seed last.
    const auto kept = [&](std::string_view name) {
        for (const KeptVariable& v : kept_)
            if (EqualsNoCase(v.Name, name)) return true;
        return false;
    };
    for (std::string_view name : kWriteOrder)
        if (name != "$HANDSEED" && !kept(name)) writeOwn(w, name, version, handleSeed);
    for (const KeptVariable& v : kept_) {
        const std::string name = UpperCase(v.Name);
        if (modelValued(name)) {
            writeOwn(w, name, version, handleSeed);
            continue;
        }
        w.WriteString(9, v.Name);
        for (const DxfEntry& p : v.Pairs) w.WriteString(p.Code, p.Value);
    }
    if (!kept("$HANDSEED")) writeOwn(w, "$HANDSEED", version, handleSeed);
}

void HEADER::WriteOut(DXFWriter& w, int32_t handleSeed) const {
    // A standard file declares the version of the structure written, which
    // has handles and subclass markers from AC1015 on; the model keeps its own.
    const int32_t version = w.IsR12() ? 1009 : w.IsStandard() && acadVer_ < 1015 ? 1015 : acadVer_;
    Trace("Header.WriteOut >>>");
    w.BeginSection();
    Trace("Header.WriteOut 1");
    w.WriteString(2, "HEADER");
    Trace("Header.WriteOut 2");
    if (w.IsStandard() && !kept_.empty()) {
        writeKept(w, version, handleSeed);
        w.EndSection();
        Trace("Header.WriteOut <<<");
        return;
    }
    if (version != 0) {
        w.WriteString(9, "$ACADVER");
        Trace("Header.WriteOut 3");
        w.WriteString(1, versionText(version));
        Trace("Header.WriteOut 4");
        if (!w.IsR12()) {
            w.WriteString(9, "$ACADMAINTVER");
            Trace("Header.WriteOut 5");
            w.WriteInteger(70, 0);
        }
        Trace("Header.WriteOut 6");
        w.WriteString(9, "$DWGCODEPAGE");
        Trace("Header.WriteOut 7");
        // A standard file names the code page its bytes are in (from AC1021
        // on they are UTF-8 whatever it names); the classic output always
        // names 1250.
        w.WriteString(3, w.IsR12() ? CodePageName(w.GetCodePage()) : !w.IsStandard() ? "ANSI_1250" : w.Utf8Output() && version < 1021 ? "UTF-8" : CodePageName(w.GetCodePage()));
        Trace("Header.WriteOut 8");
    }
    w.WriteString(9, "$EXTMIN");
    w.WritePoint(extMin_.X, extMin_.Y, extMin_.Z, 10, 20, 30);
    w.WriteString(9, "$EXTMAX");
    w.WritePoint(extMax_.X, extMax_.Y, extMax_.Z, 10, 20, 30);
    w.WriteString(9, "$INSBASE");
    w.WritePoint(insBase_.X, insBase_.Y, insBase_.Z, 10, 20, 30);
    Trace("Header.WriteOut 9");
    w.WriteString(9, "$LTSCALE");
    w.WriteInteger(40, 1);
    w.WriteString(9, "$LUNITS");
    w.WriteInteger(70, 2);
    w.WriteString(9, "$LUPREC");
    w.WriteInteger(70, 10);
    w.WriteString(9, "$HANDLING");
    w.WriteInteger(70, w.IsR12() && w.R12Handles() ? 1 : 0);
    if (w.IsR12() && !w.R12Handles()) return w.EndSection();
    w.WriteString(9, "$HANDSEED");
    if (w.IsStandard() || w.IsR12())
        w.WriteHandle(5, handleSeed);
    else
        w.WriteInteger(5, 999999);
    w.EndSection();
    Trace("Header.WriteOut <<<");
}

}  // namespace ormavec
