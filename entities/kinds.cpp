#include "entities/kinds.h"

#include <string>

#include "io/text.h"

namespace ormavec::kinds {

namespace {

bool equalsAsciiUpper(std::string_view value, std::string_view upperName) noexcept {
    if (value.size() != upperName.size()) return false;
    for (std::size_t i = 0; i < value.size(); ++i) {
        char c = value[i];
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 32);
        if (c != upperName[i]) return false;
    }
    return true;
}

}  // namespace

bool Find(std::string_view name, Kind& kind) {
    std::string upper;
    if (!IsAscii(name)) {
        // Rare: let the full case mapping decide, as a non-ASCII letter may
        // upper-case into an ASCII one.
        upper = UpperCase(name);
        name = upper;
    }
    for (const Row& row : kRows) {
        if (equalsAsciiUpper(name, row.dxf)) {
            kind = row.kind;
            return true;
        }
    }
    return false;
}

}  // namespace ormavec::kinds
