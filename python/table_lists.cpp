// The Python classes of the tables' and blocks' collections.
#include "python/bindings.h"

namespace ormavec::python {

void BindTableLists(py::module_& m) {
    bindList<LAYERS>(m);
    bindList<LTYPES>(m);
    bindList<STYLES>(m);
    {
        py::class_<BLOCKS, Object, std::shared_ptr<BLOCKS>> cls(m, "BLOCKS");
        bindListMembers<BLOCKS>(cls);
        cls.def_static(
            "CreateEntityArrays",
            [](BLOCK_BLOCK& elem) {
                BLOCKS::CreateEntityArrays(elem);
                return elem;
            },
            py::arg("Elem"), "Gives the record new, empty entity collections and returns it.");
    }

}

}  // namespace ormavec::python
