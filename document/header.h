// The header variables the model keeps: version, extents, insertion base.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "collections/variant.h"
#include "document/kept.h"
#include "entities/records.h"
#include "io/reader.h"
#include "io/writer.h"

namespace ormavec {

class HEADER final : public Object {
public:
    static constexpr std::string_view kClassName = "HEADER";
    std::string_view ClassName() const override { return kClassName; }

    // The digits of $ACADVER (1015 for "AC1015"); 0 means unknown.
    int32_t AcadVer() const noexcept { return acadVer_; }
    void SetAcadVer(int32_t value) noexcept { acadVer_ = value; }
    XYZ ExtMax() const noexcept { return extMax_; }
    void SetExtMax(const XYZ& value) noexcept { extMax_ = value; }
    XYZ ExtMin() const noexcept { return extMin_; }
    void SetExtMin(const XYZ& value) noexcept { extMin_ = value; }
    XYZ InsBase() const noexcept { return insBase_; }
    void SetInsBase(const XYZ& value) noexcept { insBase_ = value; }
    // The points in place, for hosts whose point objects change what they
    // were taken from.
    XYZ& ExtMaxRef() noexcept { return extMax_; }
    XYZ& ExtMinRef() noexcept { return extMin_; }
    XYZ& InsBaseRef() noexcept { return insBase_; }
    // The code page $DWGCODEPAGE named in the file read ("" for none); a save
    // names the page it writes in instead.
    const std::string& DeclaredCodePage() const noexcept { return declaredCodePage_; }

    // A variable as the file held it: its name and its value pairs (none for
    // those the model holds, which a save writes from the model).
    struct KeptVariable {
        std::string Name;
        std::vector<DxfEntry> Pairs;
    };
    // Every variable of a preserving load, in file order; empty otherwise.
    const std::vector<KeptVariable>& Kept() const noexcept { return kept_; }

    // Reads the section after its 2/"HEADER" pair up to "ENDSEC". A
    // preserving read keeps every variable; otherwise those the model does
    // not hold are counted in lost (when given).
    void ReadSection(DXFReader& reader, bool preserve = false, NotKept* lost = nullptr);
    // A Standard save, and an R12 one with handles, passes the handle seed:
    // a value above every handle of the file.
    void WriteOut(DXFWriter& writer, int32_t handleSeed = 0) const;

    // The number in a version text: from its first digit on ("AC1015" gives
    // 1015); 0 when it has no digit.
    static int32_t ParseVersion(std::string_view text, const DXFReader* reader = nullptr);

private:
    XYZ readPoint(DXFReader& reader);
    void writeKept(DXFWriter& w, int32_t version, int32_t handleSeed) const;
    bool writeOwn(DXFWriter& w, std::string_view name, int32_t version, int32_t handleSeed) const;

    int32_t acadVer_ = 0;
    XYZ extMax_{}, extMin_{}, insBase_{};
    std::string declaredCodePage_;
    std::vector<KeptVariable> kept_;
};

}  // namespace ormavec
