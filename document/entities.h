// The entity collections of the model space.
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

    const std::shared_ptr<::ormavec::ARCS>& ARCS() const noexcept { return arcs_; }
    const std::shared_ptr<::ormavec::CIRCLES>& CIRCLES() const noexcept { return circles_; }
    const std::shared_ptr<::ormavec::ELLIPSES>& ELLIPSES() const noexcept { return ellipses_; }
    const std::shared_ptr<::ormavec::FACE3DS>& FACE3DS() const noexcept { return face3ds_; }
    const std::shared_ptr<::ormavec::INSERTS>& INSERTS() const noexcept { return inserts_; }
    const std::shared_ptr<::ormavec::LINES>& LINES() const noexcept { return lines_; }
    const std::shared_ptr<::ormavec::LWPOLYLINES>& LWPOLYLINES() const noexcept { return lwpolylines_; }
    const std::shared_ptr<::ormavec::MTEXTS>& MTEXTS() const noexcept { return mtexts_; }
    const std::shared_ptr<::ormavec::POLYLINES>& POLYLINES() const noexcept { return polylines_; }
    const std::shared_ptr<::ormavec::POINTS>& POINTS() const noexcept { return points_; }
    const std::shared_ptr<::ormavec::TEXTS>& TEXTS() const noexcept { return texts_; }
    const std::shared_ptr<::ormavec::SOLIDS>& SOLIDS() const noexcept { return solids_; }
    const std::shared_ptr<::ormavec::ATTDEFS>& ATTDEFS() const noexcept { return attdefs_; }
    const std::shared_ptr<::ormavec::ATTRIBS>& ATTRIBS() const noexcept { return attribs_; }

    // Reads the section after its 2/"ENTITIES" pair up to "ENDSEC".
    void ReadSection(DXFReader& reader);
    void WriteOut(DXFWriter& writer, int32_t& handle) const;

private:
    std::shared_ptr<::ormavec::ARCS> arcs_;
    std::shared_ptr<::ormavec::CIRCLES> circles_;
    std::shared_ptr<::ormavec::ELLIPSES> ellipses_;
    std::shared_ptr<::ormavec::FACE3DS> face3ds_;
    std::shared_ptr<::ormavec::INSERTS> inserts_;
    std::shared_ptr<::ormavec::LINES> lines_;
    std::shared_ptr<::ormavec::LWPOLYLINES> lwpolylines_;
    std::shared_ptr<::ormavec::MTEXTS> mtexts_;
    std::shared_ptr<::ormavec::POLYLINES> polylines_;
    std::shared_ptr<::ormavec::POINTS> points_;
    std::shared_ptr<::ormavec::TEXTS> texts_;
    std::shared_ptr<::ormavec::SOLIDS> solids_;
    std::shared_ptr<::ormavec::ATTDEFS> attdefs_;
    std::shared_ptr<::ormavec::ATTRIBS> attribs_;
};

}  // namespace ormavec
