// What a Standard save settles before it writes the header: the handle seed,
// which must lie above every handle of the file although the header comes
// first, and the text styles that entities name and the table lacks.
#pragma once

#include <cstdint>

namespace ormavec {

class SaveContext;
class TABLES;
class BLOCKS;
class ENTITIES;

// Puts the missing text styles on the save and returns a value above every
// handle the save will take, counted by the writers of the records. Fails
// with an overflow when the model holds more objects than 32-bit handles can
// number. keptObjects: the kept objects the save writes, which may need new
// handles.
int32_t PrepareStandardSave(SaveContext& save, const TABLES& tables, const BLOCKS& blocks, const ENTITIES& entities, int64_t keptObjects = 0);

// The handle a Standard save numbers from: the largest of seed and every
// handle that kept content carries or points to (see document/kept.h).
int32_t KeptHandleBase(uint32_t seed, const BLOCKS& blocks, const ENTITIES& entities);

}  // namespace ormavec
