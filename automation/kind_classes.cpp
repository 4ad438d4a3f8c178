// The type library's collection classes of the kinds list.
#include "automation/typelib_build.h"

namespace ormavec::automation::build {

void AddKindClasses(TypeLibrary& lib) {
    TypeLibrary& l = lib;
    auto plain = [&](auto tag, std::string_view clsid, std::string_view iid) {
        using C = typename decltype(tag)::type;
        l.classes.push_back(CollectionClass<C>(CollectionInterface<C>(l, iid).get(), clsid));
    };
    // The collections of the kinds list: those ENTITIES holds in section
    // order, then those only blocks hold.
    kinds::ForEachInSectionOrder([&]<Kind K>() {
        if constexpr (Holds<ENTITIES, K>) plain(std::type_identity<KindList<K>>{}, kinds::RowOf(K).clsid, kinds::RowOf(K).iid);
    });
    kinds::ForEachInSectionOrder([&]<Kind K>() {
        if constexpr (!Holds<ENTITIES, K>) plain(std::type_identity<KindList<K>>{}, kinds::RowOf(K).clsid, kinds::RowOf(K).iid);
    });
}

}  // namespace ormavec::automation::build
