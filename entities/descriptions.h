// The descriptions of the entity types that are described declaratively,
// shared by the readers, the writers and the tests.
#pragma once

#include "entities/descriptor.h"

namespace ormavec::entity {

const Description<LINE_ENT>& LineDescription();

}  // namespace ormavec::entity
