// The entity collections of the model space: one per kind of the kinds list
// that ENTITIES holds.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "entities/collections.h"

namespace ormavec {

class ENTITIES final : public Object {
public:
    static constexpr std::string_view kClassName = "ENTITIES";
    std::string_view ClassName() const override { return kClassName; }

    ENTITIES();

    // The 2D extent of the model space: (X0, Y0) lower left, (X1, Y1) upper
    // right; four zeros when there is nothing.
    void ReCalcExtent(double& X0, double& Y0, double& X1, double& Y1) const;

#define ORMAVEC_ENTITIES_GETTER(K, Dxf, Record, List, Lives, ...) \
    ORMAVEC_IN_ENTITIES_##Lives(const std::shared_ptr<::ormavec::List>& List() const noexcept { return List##_; })
    ORMAVEC_ENTITY_KINDS(ORMAVEC_ENTITIES_GETTER)
#undef ORMAVEC_ENTITIES_GETTER

    // The entities a preserving load kept as pairs (kinds the model does not
    // type here), in the order read; null when there are none.
    const std::shared_ptr<KeptEntities>& Kept() const noexcept { return kept_; }

    // Reads the section after its 2/"ENTITIES" pair up to "ENDSEC"; see
    // ReadScratch for preserve and lost.
    void ReadSection(DXFReader& reader, bool preserve = false, NotKept* lost = nullptr, bool keepSplines = false);
    void WriteOut(SaveContext& save) const;

private:
    std::shared_ptr<KeptEntities> kept_;
    template <class Set, Kind K>
    friend struct Slot;
#define ORMAVEC_ENTITIES_MEMBER(K, Dxf, Record, List, Lives, ...) \
    ORMAVEC_IN_ENTITIES_##Lives(std::shared_ptr<::ormavec::List> List##_;)
    ORMAVEC_ENTITY_KINDS(ORMAVEC_ENTITIES_MEMBER)
#undef ORMAVEC_ENTITIES_MEMBER
};

#define ORMAVEC_ENTITIES_SLOT(K, Dxf, Record, List, Lives, ...)     \
    ORMAVEC_IN_ENTITIES_##Lives(template <> struct Slot<ENTITIES, Kind::K> { \
        static constexpr auto member = &ENTITIES::List##_;           \
    };)
ORMAVEC_ENTITY_KINDS(ORMAVEC_ENTITIES_SLOT)
#undef ORMAVEC_ENTITIES_SLOT

}  // namespace ormavec
