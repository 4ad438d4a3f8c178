// The document: owns the four section objects, loads a drawing file into
// them and saves them as a complete drawing file.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "document/blocks.h"
#include "document/entities.h"
#include "document/header.h"
#include "document/svg.h"
#include "document/tables.h"
#include "io/reader.h"
#include "io/writer.h"

namespace ormavec {

// The version mode of the calling thread, shared by every document on it.
int32_t CurrentVersionMode() noexcept;

class DXFDocument final : public Object {
public:
    static constexpr std::string_view kClassName = "DXFDocument";
    std::string_view ClassName() const override { return kClassName; }

    DXFDocument();
    ~DXFDocument() override;

    const std::shared_ptr<::ormavec::HEADER>& HEADER() const noexcept { return header_; }
    const std::shared_ptr<::ormavec::ENTITIES>& ENTITIES() const noexcept { return entities_; }
    const std::shared_ptr<::ormavec::BLOCKS>& BLOCKS() const noexcept { return blocks_; }
    const std::shared_ptr<::ormavec::TABLES>& TABLES() const noexcept { return tables_; }
    const std::string& FileName() const noexcept { return fileName_; }

    // Adds what the file holds to the model; stops at the first error, which
    // propagates with what was read until then kept. "-" reads standard input.
    void Load(const std::string& fileName);
    // What the last load repaired (with Recover) or found missing (a drawing
    // cut before its EOF), kept also when the load failed; then what the last
    // save left out (an R12 save, the kinds R12 lacks).
    const std::vector<LoadWarning>& Warnings() const noexcept { return warnings_; }
    // Loads repair blank group-code lines, decimal commas and blanks inside
    // numbers and codes instead of failing on them; each repair is a warning.
    void SetRecover(bool on) noexcept { recover_ = on; }
    bool Recover() const noexcept { return recover_; }
    void Save(const std::string& fileName);
    // The model space drawn as SVG into the file ("-": standard output).
    void ToSvg(const std::string& fileName, const SvgOptions& options = {}) const { WriteSvg(*this, options, fileName); }
    // A preserving load keeps what the typed model does not hold (header
    // variables, entities of kinds it does not type, their draw order), and
    // a Standard save writes it back; see document/kept.h. Off by default.
    void SetPreserve(bool on) noexcept { preserve_ = on; }
    bool Preserve() const noexcept { return preserve_; }
    // A load that does not preserve still keeps SPLINEs, and the HATCHes of
    // ENTITIES (as their pairs), for an R12 save or the picture to draw them
    // (an R12 save leaves the HATCHes out). Off by default.
    void SetKeepSplines(bool on) noexcept { keepSplines_ = on; }
    bool KeepSplines() const noexcept { return keepSplines_; }
    // What the last load read but did not keep; empty when it kept all.
    const ::ormavec::NotKept& NotKept() const noexcept { return notKept_; }
    // The OBJECTS and CLASSES a preserving load kept as read (null: none).
    const KeptEntities* KeptObjects() const noexcept { return keptObjects_.get(); }
    const KeptEntities* KeptClasses() const noexcept { return keptClasses_.get(); }
    // Part of the interface; they change nothing.
    void ExplodePolyLines() noexcept {}
    void ExplodeLWPolyLines() noexcept {}

    void SetTextConvertMode(::ormavec::TextConvertMode mode) noexcept { textConvertMode_ = mode; }
    ::ormavec::TextConvertMode TextConvertMode() const noexcept { return textConvertMode_; }
    // Per thread: every document on the thread sees the same value.
    void SetVersionMode(int16_t mode) noexcept;
    int16_t VersionMode() const noexcept;

    // Classic (the default), Standard or R12 output; see SaveMode.
    void SetSaveMode(::ormavec::SaveMode mode) noexcept { saveMode_ = mode; }
    ::ormavec::SaveMode SaveMode() const noexcept { return saveMode_; }
    // R12 saves: whether entities get handles, and how far (in drawing units)
    // the polylines written for ellipses may stray from them; 0 is a
    // thousandth of each ellipse's major radius.
    void SetR12Handles(bool on) noexcept { r12Handles_ = on; }
    bool R12Handles() const noexcept { return r12Handles_; }
    void SetR12Tolerance(double units) noexcept { r12Tolerance_ = units; }
    double R12Tolerance() const noexcept { return r12Tolerance_; }
    // Saves write a binary drawing of the same content (off by default):
    // 16-bit group codes, or one-byte codes when the drawing written is
    // older than AC1012. Loads take either form.
    void SetBinary(bool on) noexcept { binary_ = on; }
    bool Binary() const noexcept { return binary_; }

    // The code page of the files read and written: 1250 unless set, or, after
    // an Auto load, the page the drawing declared (unless one was set). A
    // page unknown by number or name (see ParseCodePage) raises
    // ErrInvalidArgument with the accepted forms.
    void SetCodePage(::ormavec::CodePage cp);
    void SetCodePage(std::string_view nameOrNumber);
    ::ormavec::CodePage CodePage() const noexcept { return codePage_; }
    // What the last load found: the page the drawing declared ("" for none)
    // and whether its text was read as UTF-8.
    const std::string& DeclaredCodePage() const noexcept { return declaredCodePage_; }
    bool ReadAsUtf8() const noexcept { return readAsUtf8_; }

    // Raised while loading with the percentage of the file consumed; a
    // handler may change the value, which the reader then keeps.
    std::function<void(int32_t& percent)> Progress;
    // Raised with the bytes done so far, about every megabyte, while a save
    // writes and while input whose size is not known comes in.
    std::function<void(int64_t bytes)> BytesProgress;

    // The fixed sections of every saved file.
    static void WriteClasses(DXFWriter& writer);
    static void WriteObjects(SaveContext& save);
    static void WriteEof(DXFWriter& writer);

private:
    std::shared_ptr<::ormavec::HEADER> header_;
    std::shared_ptr<::ormavec::ENTITIES> entities_;
    std::shared_ptr<::ormavec::BLOCKS> blocks_;
    std::shared_ptr<::ormavec::TABLES> tables_;
    std::string fileName_;
    ::ormavec::TextConvertMode textConvertMode_ = ::ormavec::TextConvertMode::None;
    ::ormavec::CodePage codePage_ = ::ormavec::CodePage::Windows1250;
    bool codePageChosen_ = false;
    std::string declaredCodePage_;
    bool readAsUtf8_ = false;
    ::ormavec::SaveMode saveMode_ = ::ormavec::SaveMode::Classic;
    bool recover_ = false;
    bool r12Handles_ = false;
    double r12Tolerance_ = 0;
    std::size_t loadWarnings_ = 0;  // the first entries of warnings_ come from the load
    bool binary_ = false;
    bool preserve_ = false;
    bool keepSplines_ = false;
    ::ormavec::NotKept notKept_;
    // The CLASSES and OBJECTS sections a preserving load kept.
    std::shared_ptr<KeptEntities> keptClasses_, keptObjects_;
    std::vector<LoadWarning> warnings_;
    std::unique_ptr<DXFReader> reader_;  // the reader of a load in progress or of a failed one
};

}  // namespace ormavec
