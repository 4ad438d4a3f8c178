#include "collections/array_list.h"

namespace ormavec::detail {

void RaiseOverflow(std::string_view source) { RaiseError(err::Overflow, source, "Overflow: the list cannot hold more elements"); }

void RaiseOutOfMemory(std::string_view source) { RaiseError(err::OutOfMemory, source, "Out of memory"); }

void RaiseChangedDuringSort(std::string_view source) {
    RaiseError(ErrInvalidOperation, source, "The list was resized by its comparer during Sort");
}

void RaiseNotShared(std::string_view source) {
    RaiseError(ErrInvalidOperation, source, "The list must be held by a shared_ptr to hand out its interfaces");
}

}  // namespace ormavec::detail
