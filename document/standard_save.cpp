#include "document/standard_save.h"

#include <limits>
#include <string>
#include <unordered_set>
#include <vector>

#include "document/blocks.h"
#include "document/entities.h"
#include "document/tables.h"
#include "io/error.h"
#include "io/text.h"
#include "io/writer.h"

namespace ormavec {
namespace {

// Table heads and fixed entries, the default blocks, their records and
// layouts, the objects, and a reserve: an upper bound, as counting an item
// that is not written only leaves a gap below the seed.
constexpr int64_t kFixedHandles = 64;

template <class Collection>
int64_t plainCount(const std::shared_ptr<Collection>& c) {
    return c ? c->Count() : 0;
}

int64_t insertHandles(const std::shared_ptr<INSERTS>& inserts) {
    if (!inserts) return 0;
    int64_t n = 0;
    for (const INSERT_ENT& r : *inserts) n += 1 + (r.ATTRIBS ? r.ATTRIBS->Count() + 1 : 0);  // ATTRIBs and SEQEND
    return n;
}

int64_t polylineHandles(const std::shared_ptr<POLYLINES>& polylines) {
    if (!polylines) return 0;
    int64_t n = 0;
    for (const POLYLINE_ENT& r : *polylines)
        n += 2 + static_cast<int64_t>(r.Vertices.size() + r.CommandVertices.size());  // with SEQEND
    return n;
}

class StyleNames {
public:
    StyleNames(const STYLES& table, std::vector<std::string>& missing) : missing_(missing) {
        // One set of upper-cased names, so that a model with many texts and
        // many styles costs a hash per text, not a scan of the table.
        for (const STYLES_TAB& s : table) known_.insert(UpperCase(s.StyleName));
    }

    void Use(std::string_view name) {
        // Texts mostly share a few styles: skip the lookup for a repeat.
        if (name.empty() || name == last_) return;
        last_.assign(name);
        if (known_.insert(UpperCase(name)).second) missing_.emplace_back(name);
    }
    // As the writers write them: a TEXT without a style names "0", an MTEXT
    // "Standard".
    void Texts(const std::shared_ptr<TEXTS>& texts) {
        if (texts)
            for (const TEXT_ENT& r : *texts) Use(r.TextStyleName.empty() ? std::string_view("0") : r.TextStyleName);
    }
    void MTexts(const std::shared_ptr<MTEXTS>& mtexts) {
        if (mtexts)
            for (const MTEXT_ENT& r : *mtexts) Use(r.Style.empty() ? std::string_view("Standard") : r.Style);
    }
    void AttDefs(const std::shared_ptr<ATTDEFS>& attdefs) {
        if (attdefs)
            for (const ATTDEF_ENT& r : *attdefs) Use(r.TextStyleName);
    }

private:
    std::vector<std::string>& missing_;
    std::unordered_set<std::string> known_;
    std::string last_;
};

}  // namespace

int32_t PrepareStandardSave(DXFWriter& writer, const TABLES& tables, const BLOCKS& blocks, const ENTITIES& e) {
    std::vector<std::string>& extra = writer.StandardLinks().extraStyles;
    extra.clear();
    StyleNames styles(*tables.STYLES(), extra);
    styles.Texts(e.TEXTS());
    styles.MTexts(e.MTEXTS());
    styles.AttDefs(e.ATTDEFS());

    int64_t n = kFixedHandles + plainCount(tables.LAYERS()) + plainCount(tables.LTYPES()) + plainCount(tables.STYLES());
    for (const BLOCK_BLOCK& b : blocks) {
        styles.Texts(b.TEXTS);
        styles.MTexts(b.MTEXTS);
        styles.AttDefs(b.ATTDEFS);
        n += 4;  // record, its layout when it is a paper space, BLOCK, ENDBLK
        n += plainCount(b.ARCS) + plainCount(b.CIRCLES) + plainCount(b.ELLIPSES) + plainCount(b.FACE3DS) +
             insertHandles(b.INSERTS) + plainCount(b.LINES) + plainCount(b.LWPOLYLINES) + plainCount(b.MTEXTS) +
             polylineHandles(b.POLYLINES) + plainCount(b.POINTS) + plainCount(b.TEXTS) + plainCount(b.HATCHES) +
             plainCount(b.ATTDEFS);
    }
    n += static_cast<int64_t>(extra.size());
    n += plainCount(e.ARCS()) + plainCount(e.CIRCLES()) + plainCount(e.ELLIPSES()) + plainCount(e.FACE3DS()) +
         insertHandles(e.INSERTS()) + plainCount(e.LINES()) + plainCount(e.LWPOLYLINES()) + plainCount(e.MTEXTS()) +
         polylineHandles(e.POLYLINES()) + plainCount(e.POINTS()) + plainCount(e.TEXTS()) + plainCount(e.SOLIDS()) +
         plainCount(e.ATTDEFS());
    if (n >= std::numeric_limits<int32_t>::max())
        RaiseError(err::Overflow, "DXFDocument", "Overflow: the drawing holds more objects than its handles can number");
    return static_cast<int32_t>(n + 1);
}

}  // namespace ormavec
