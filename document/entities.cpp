#include "document/entities.h"

#include "document/entity_sets.h"
#include "io/text.h"

namespace ormavec {

ENTITIES::ENTITIES() {
    kinds::ForEach([&]<Kind K>() {
        if constexpr (Holds<ENTITIES, K>) {
            auto list = std::make_shared<KindList<K>>();
            list->SetGrowLength(kinds::RowOf(K).entitiesGrow);
            this->*Slot<ENTITIES, K>::member = std::move(list);
        }
    });
}

void ENTITIES::ReCalcExtent(double& X0, double& Y0, double& X1, double& Y1) const {
    X0 = Y0 = X1 = Y1 = 0.0;
    kinds::ForEachInSectionOrder([&]<Kind K>() {
        if constexpr (Holds<ENTITIES, K> && HasExtent<KindRecord<K>>) ListIn<K>(*this)->GetExtent(X0, Y0, X1, Y1);
    });
}

void ENTITIES::ReadSection(DXFReader& reader, bool preserve, NotKept* lost, bool keepSplines) {
    ReadScratch scratch;
    scratch.preserve = preserve;
    scratch.lost = lost;
    scratch.keepSplines = keepSplines;
    scratch.kept = &kept_;
    while (!reader.AtEnd()) {
        const DXFReader::Pair& p = reader.Read();
        if (p.Value == "ENDSEC") break;
        // Kinds this section does not read and unknown names start nothing:
        // their pairs fall through this loop one by one.
        if (p.Code != 0) continue;
        Kind kind;
        if (!kinds::Find(p.Value, kind) || !entity_sets::ReadInto(kind, reader, *this, scratch))
            entity_sets::PassOver(reader, p.Value, kept_, scratch);
    }
}

void ENTITIES::WriteOut(SaveContext& save) const {
    OwnerScope modelSpace(save, save.modelSpaceRecord);
    DXFWriter& writer = save.Writer();
    writer.BeginSection();
    writer.WriteString(2, "ENTITIES");
    entity_sets::WriteAll(save, *this);
    writer.EndSection();
}

}  // namespace ormavec
