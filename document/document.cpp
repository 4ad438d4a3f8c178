#include "document/document.h"

#include <algorithm>

#include "diagnostics/call_log.h"
#include "document/r12_save.h"
#include "document/standard_save.h"
#include "io/error.h"
#include "io/text.h"

namespace ormavec {

namespace {
thread_local int32_t tVersionMode = 0;
}  // namespace

int32_t CurrentVersionMode() noexcept { return tVersionMode; }

DXFDocument::DXFDocument()
    : header_(std::make_shared<::ormavec::HEADER>()),
      entities_(std::make_shared<::ormavec::ENTITIES>()),
      blocks_(std::make_shared<::ormavec::BLOCKS>()),
      tables_(std::make_shared<::ormavec::TABLES>()) {}

DXFDocument::~DXFDocument() = default;

void DXFDocument::SetVersionMode(int16_t mode) noexcept { tVersionMode = mode; }
int16_t DXFDocument::VersionMode() const noexcept { return static_cast<int16_t>(tVersionMode); }

void DXFDocument::SetCodePage(::ormavec::CodePage cp) {
    if (!ParseCodePage(std::to_string(static_cast<int32_t>(cp))))
        RaiseError(ErrInvalidArgument, "DXFDocument",
                   "Unknown code page " + std::to_string(static_cast<int32_t>(cp)) + "; accepted: " + std::string(CodePageForms()));
    codePage_ = cp;
    codePageChosen_ = true;
}

void DXFDocument::SetCodePage(std::string_view nameOrNumber) {
    const std::optional<::ormavec::CodePage> cp = ParseCodePage(nameOrNumber);
    if (!cp) RaiseError(ErrInvalidArgument, "DXFDocument", "Unknown code page '" + std::string(nameOrNumber) + "'; accepted: " + std::string(CodePageForms()));
    SetCodePage(*cp);
}

void DXFDocument::Load(const std::string& fileName) {
    fileName_ = fileName;
    warnings_.clear();
    notKept_ = {};
    // A reader left by a failed load is released here, which closes its file.
    reader_ = std::make_unique<DXFReader>(codePage_);
    DXFReader& reader = *reader_;
    reader.SetTextConvertMode(textConvertMode_);
    reader.SetRecover(recover_);
    reader.FollowDeclaredCodePage(!codePageChosen_);
    reader.Progress = [this](int32_t& percent) {
        if (Progress) Progress(percent);
    };
    reader.BytesProgress = [this](int64_t bytes) {
        if (BytesProgress) BytesProgress(bytes);
    };
    struct KeepWarnings {
        DXFDocument& doc;
        ~KeepWarnings() {
            if (doc.reader_) doc.warnings_ = doc.reader_->Warnings();
        }
    } keep{*this};
    reader.OpenInput(fileName);
    reader.CheckFormat();
    std::string open;  // the section being read
    bool complete = false;
    while (!reader.AtEnd()) {
        const DXFReader::Pair& pair = reader.Read();
        if (pair.Code != 0) continue;
        if (pair.Value == "SECTION") {
            std::string name = UpperCase(reader.Read().Value);
            open = name;
            if (name == "HEADER")
                header_->ReadSection(reader, preserve_, &notKept_);
            else if (name == "TABLES")
                tables_->ReadSection(reader, preserve_, &notKept_);
            else if (name == "BLOCKS")
                blocks_->ReadSection(reader, preserve_, &notKept_, keepSplines_);
            else if (name == "ENTITIES")
                entities_->ReadSection(reader, preserve_, &notKept_, keepSplines_);
            else if (preserve_ && (name == "CLASSES" || name == "OBJECTS")) {
                std::shared_ptr<KeptEntities>& kept = name == "CLASSES" ? keptClasses_ : keptObjects_;
                if (!kept) kept = std::make_shared<KeptEntities>();
                kept->ReadUpTo(reader, "ENDSEC");
                if (!reader.AtEnd()) reader.Read();  // the ENDSEC
            } else
                continue;  // any other section is read past pair by pair by this loop
            if (!reader.AtEnd() || reader.LastPairIs("ENDSEC")) open.clear();
        } else if (pair.Value == "ENDSEC") {
            open.clear();
        } else if (pair.Value == "EOF") {
            complete = true;
            break;
        } else if (open == "OBJECTS") {
            ++notKept_.objects;
        } else if (open == "CLASSES") {
            ++notKept_.classes;
        }
    }
    // Read as far as it goes, but a cut drawing is said to be one.
    if (!complete)
        reader.Warn(open.empty() ? "the drawing ends without EOF" : "the drawing ends inside the " + Printable(open) + " section (no ENDSEC, no EOF)");
    reader.CloseInput();
    warnings_ = reader.Warnings();
    loadWarnings_ = warnings_.size();
    // Saved again in the page it was read with.
    codePage_ = reader.GetCodePage();
    readAsUtf8_ = reader.DecodesUtf8();
    declaredCodePage_ = header_->DeclaredCodePage();
    reader_.reset();
}

void DXFDocument::Save(const std::string& fileName) {
    Trace("DXFDocument.Save >>>");
    fileName_ = fileName;
    Trace("DXFDocument.Save 1");
    DXFWriter writer(codePage_);
    writer.SetSaveMode(saveMode_);
    writer.SetR12Handles(r12Handles_);
    // A drawing of AC1021 or later is UTF-8 by definition; an older one that
    // Auto mode found in UTF-8 stays so (it declared a page it did not use).
    writer.SetUtf8Output(saveMode_ == ::ormavec::SaveMode::Standard &&
                         (header_->AcadVer() >= 1021 || (readAsUtf8_ && textConvertMode_ == ::ormavec::TextConvertMode::Auto)));
    // A standard save writes AC1015 at least; a classic one the model's version.
    writer.SetBinary(binary_, saveMode_ == ::ormavec::SaveMode::R12 ||
                                  (saveMode_ == ::ormavec::SaveMode::Classic && header_->AcadVer() < 1012));
    writer.BytesProgress = [this](int64_t bytes) {
        if (BytesProgress) BytesProgress(bytes);
    };
    writer.OpenOutput(fileName);
    // Kept pointers keep their meaning only if nothing new takes their handles.
    const bool standard = saveMode_ == ::ormavec::SaveMode::Standard;
    const bool keepObjects = standard && keptObjects_ && !keptObjects_->Empty();
    SaveContext save(writer, standard ? KeptHandleBase(std::max(tables_->KeptMaxHandle(), keepObjects ? keptObjects_->MaxHandle() : 0u), *blocks_, *entities_) : 0);
    save.r12Tolerance = r12Tolerance_;
    save.objectsKept = keepObjects;
    Trace("DXFDocument.Save 2");
    header_->WriteOut(writer, save.Standard() ? PrepareStandardSave(save, *tables_, *blocks_, *entities_, keepObjects ? keptObjects_->Count() : 0)
                              : save.R12()    ? r12::HandleSeed(save, *tables_, *blocks_, *entities_)
                                              : 0);
    Trace("DXFDocument.Save 3");
    if (standard && keptClasses_)
        KeptEntities::WriteSection(save, "CLASSES", *keptClasses_);
    else if (!save.R12())
        WriteClasses(writer);
    Trace("DXFDocument.Save 4");
    const XYZ extMin = header_->ExtMin();
    const XYZ extMax = header_->ExtMax();
    const double centerX = (extMax.X + extMin.X) / 2;
    const double centerY = (extMax.Y + extMin.Y) / 2;
    const double height = extMax.Y - extMin.Y;
    tables_->WriteOut(save, *blocks_, centerX, centerY, height);
    Trace("DXFDocument.Save 5");
    blocks_->WriteOut(save);
    Trace("DXFDocument.Save 6");
    entities_->WriteOut(save);
    Trace("DXFDocument.Save 7");
    if (keepObjects)
        KeptEntities::WriteSection(save, "OBJECTS", *keptObjects_);
    else if (!save.R12())
        WriteObjects(save);
    Trace("DXFDocument.Save 8");
    WriteEof(writer);
    Trace("DXFDocument.Save 9");
    writer.CloseOutput();
    warnings_.resize(std::min(loadWarnings_, warnings_.size()));
    if (std::string left = r12::LeftOutWarning(save); !left.empty()) warnings_.push_back({fileName, 0, std::move(left)});
    Trace("DXFDocument.Save <<<");
}

}  // namespace ormavec
