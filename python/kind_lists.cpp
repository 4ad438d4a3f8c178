// The Python classes of the collections of the kinds list.
#include "python/bindings.h"

namespace ormavec::python {

void BindKindLists(py::module_& m) {
    kinds::ForEach([&]<Kind K>() { bindList<KindList<K>>(m); });
}

}  // namespace ormavec::python
