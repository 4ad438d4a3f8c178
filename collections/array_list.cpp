#include "collections/array_list.h"

namespace ormavec::detail {

void RaiseOverflow(std::string_view source) { RaiseError(err::Overflow, source, "Overflow: the list cannot hold more elements"); }

void RaiseOutOfMemory(std::string_view source) { RaiseError(err::OutOfMemory, source, "Out of memory"); }

}  // namespace ormavec::detail
