// The type library's collection classes of BLOCKS and the tables.
#include "automation/typelib_build.h"

namespace ormavec::automation::build {

void AddCollectionClasses(TypeLibrary& lib) {
    TypeLibrary& l = lib;
    {
        Builder b = CollectionInterface<BLOCKS>(l, "{62CA98E4-2A47-4D83-A138-307E12F21FBB}");
        AddNamedMembers<BLOCKS>(b);
        b.Auto("CreateEntityArrays", kMethod, {Out("Elem", "BLOCK_BLOCK")}, "", [](Object&, Args& a) {
            BLOCK_BLOCK elem = a[0].IsEmpty() ? BLOCK_BLOCK{} : BLOCKS::ToRecord(a[0]);
            BLOCKS::CreateEntityArrays(elem);
            a[0] = Variant::FromRecord(std::move(elem));
            return None();
        });
        l.classes.push_back(CollectionClass<BLOCKS>(b.get(), "{7B25AA0C-10B0-4731-B67F-7F6B1E782C5D}"));
    }
    auto named = [&](auto tag, const char* clsid, const char* iid) {
        using C = typename decltype(tag)::type;
        Builder b = CollectionInterface<C>(l, iid);
        AddNamedMembers<C>(b);
        l.classes.push_back(CollectionClass<C>(b.get(), clsid));
    };
    named(std::type_identity<LAYERS>{}, "{B810C344-060E-46F7-88D8-5EF8992C652A}", "{1DBBDC01-E2F1-4DA8-83D0-D2E1DB16D72D}");
    named(std::type_identity<LTYPES>{}, "{58182DC8-B78B-4824-A5AB-908D4060FE4A}", "{2206C24C-0A15-49DC-A04A-F13E1E67C67F}");
    named(std::type_identity<STYLES>{}, "{44BF9143-9480-45DA-91E1-6A71BC1F3E3E}", "{3AF8F381-8730-4865-AEC9-AB64F8A163A3}");
    AddKindClasses(l);
}

}  // namespace ormavec::automation::build
