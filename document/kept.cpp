#include "document/kept.h"

#include "document/save_context.h"

namespace ormavec {

std::string_view RawEntity::Handle() const noexcept {
    for (const DxfEntry& p : Pairs)
        if (p.Code == 5) return p.Value;
    return {};
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
        e.Pairs.push_back({p.Code, std::string(p.Value)});
    }
}

void KeptEntities::Write(SaveContext& save, const RawEntity& e) {
    DXFWriter& w = save.Writer();
    w.WriteString(0, e.Name);
    // The handle and owner of this save come first, in place of those the
    // file gave, which number a drawing that is not written again as it was.
    save.WriteHandle();
    bool ownerSeen = false, inClass = false;
    const std::vector<DxfEntry>& pairs = e.Pairs;
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        const DxfEntry& p = pairs[i];
        if (p.Code == 100) inClass = true;
        if (!inClass && (p.Code == 5 || (p.Code == 330 && !ownerSeen))) {
            ownerSeen = ownerSeen || p.Code == 330;
            continue;
        }
        // Reactors and extension dictionaries point into objects that are
        // not written.
        if (p.Code == 102 && (p.Value == "{ACAD_REACTORS" || p.Value == "{ACAD_XDICTIONARY")) {
            while (i + 1 < pairs.size() && !(pairs[i].Code == 102 && pairs[i].Value == "}")) ++i;
            continue;
        }
        w.WriteString(p.Code, p.Value);
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
    add(xdataEntities, "XDATA of ", false);
    return text;
}

}  // namespace ormavec
