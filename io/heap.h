// The memory a file load fills. A model is built from hundreds of thousands
// of small allocations, and in a fresh process every 4 KiB page of the heap
// they land on costs a page fault: about half of a first load's time. While
// a file load runs, the heap grows in large steps, and where the kernel
// offers transparent huge pages on request the grown part is advised for
// them, so that one fault maps 2 MiB. Where there is a second core, a
// thread maps the heap's next pages a little ahead of their use: a page's
// first touch costs its zeroing, and far more on a machine whose memory sat
// idle. Allocations outside the heap of the main allocator arena (those of
// another thread's arena, for one) are left as they are.
#pragma once

#include <cstdint>

namespace ormavec::heap {

// A load of a file of the given size starts; true when it changed anything,
// and then EndLoad must follow once it has ended. Loads may overlap (other
// threads); the heap returns to its usual growth after the last one.
bool BeginLoad(int64_t inputBytes) noexcept;
void EndLoad() noexcept;

// Advises the part of the heap grown since the last call. Cheap when the
// heap has not grown; meant to be called every megabyte or so of input, with
// the bytes of input still to come. Near the end of the input the rest of
// the heap goes back to small pages: the last huge page would otherwise be
// mapped whole however little of it the model still needs.
void Advise(int64_t inputLeft) noexcept;

}  // namespace ormavec::heap
