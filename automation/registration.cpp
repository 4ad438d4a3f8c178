// Self-registration of the in-process server.
//
// Registration (DllRegisterServer) writes one INI file per user, the place a
// desktop platform keeps per-user data: $ORMAVEC_REGISTRY_FILE when set (for
// tests and packagers), else $XDG_DATA_HOME/ormavec/registry.ini, else
// $HOME/.local/share/ormavec/registry.ini. It holds:
//   [TypeLib {libid}]      Name, Version=7.2, Path (this library, from dladdr)
//   [CLSID {clsid}]        Name, ProgID=Ormavec.<Class>.7,
//                          VersionIndependentProgID=Ormavec.<Class>,
//                          InprocServer32 (library path), ThreadingModel=Apartment,
//                          TypeLib, Version, DefaultInterface
//   [ProgID Ormavec.<Class>]   CLSID, CurVer=Ormavec.<Class>.7
//   [ProgID Ormavec.<Class>.7] CLSID
//   [Interface {iid}]      Name, TypeLib
// Both ProgID forms name the class; the version-independent one is the one
// the class table shows. DllUnregisterServer removes the file; unregistering
// twice is not an error. Creating objects never needs the file: the library
// knows its own classes.
#include <dlfcn.h>
#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "automation/server.h"

namespace ormavec::automation {

namespace {

std::string RegistryPath() {
    if (const char* p = std::getenv("ORMAVEC_REGISTRY_FILE"); p && *p) return p;
    if (const char* x = std::getenv("XDG_DATA_HOME"); x && *x) return std::string(x) + "/ormavec/registry.ini";
    std::string home;
    if (const char* h = std::getenv("HOME"); h && *h) home = h;
    else if (const passwd* pw = getpwuid(getuid()); pw && pw->pw_dir) home = pw->pw_dir;
    return home + "/.local/share/ormavec/registry.ini";
}

std::string LibraryPath() {
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&DllRegisterServer), &info) && info.dli_fname) {
        std::error_code ec;
        auto abs = std::filesystem::absolute(info.dli_fname, ec);
        return ec ? std::string(info.dli_fname) : abs.string();
    }
    return {};
}

std::string RegistryText() {
    const TypeLibrary& lib = Library();
    const std::string libid = FormatGuid(lib.libid);
    const std::string version = std::to_string(lib.major) + "." + std::to_string(lib.minor);
    const std::string major = "." + std::to_string(lib.major);
    const std::string path = LibraryPath();
    std::string t = "; Ormavec in-process automation server: written by DllRegisterServer, removed by DllUnregisterServer.\n\n";
    t += "[TypeLib " + libid + "]\nName=" + lib.name + "\nVersion=" + version + "\nPath=" + path + "\n\n";
    for (const ClassInfo& c : lib.classes) {
        const std::string clsid = FormatGuid(c.clsid);
        t += "[CLSID " + clsid + "]\nName=" + c.name + "\nProgID=" + c.progid + major + "\nVersionIndependentProgID=" + c.progid +
             "\nInprocServer32=" + path + "\nThreadingModel=Apartment\nTypeLib=" + libid + "\nVersion=" + version +
             "\nDefaultInterface=" + FormatGuid(c.defaultInterface->iid) + "\n\n";
        t += "[ProgID " + c.progid + "]\nCLSID=" + clsid + "\nCurVer=" + c.progid + major + "\n\n";
        t += "[ProgID " + c.progid + major + "]\nCLSID=" + clsid + "\n\n";
    }
    for (const auto& i : lib.interfaces) t += "[Interface " + FormatGuid(i->iid) + "]\nName=" + i->name + "\nTypeLib=" + libid + "\n\n";
    return t;
}

}  // namespace

}  // namespace ormavec::automation

using namespace ormavec;
using namespace ormavec::automation;

extern "C" {

ORMAVEC_API int32_t DllRegisterServer(void) {
    return Guard([] {
        namespace fs = std::filesystem;
        const fs::path path = RegistryPath();
        std::error_code ec;
        if (path.has_parent_path()) fs::create_directories(path.parent_path(), ec);
        // Written beside and renamed, so a reader never sees half a file.
        const fs::path temp = path.string() + ".tmp";
        {
            std::ofstream out(temp, std::ios::binary | std::ios::trunc);
            out << RegistryText();
            out.close();
            if (!out) return Fail(ORMAVEC_SELFREG_E_CLASS, err::PathFileAccessError, "Ormavec", "Cannot write " + temp.string());
        }
        fs::rename(temp, path, ec);
        if (ec) {
            fs::remove(temp, ec);
            return Fail(ORMAVEC_SELFREG_E_CLASS, err::PathFileAccessError, "Ormavec", "Cannot write " + path.string());
        }
        return ORMAVEC_S_OK;
    });
}

ORMAVEC_API int32_t DllUnregisterServer(void) {
    return Guard([] {
        const std::filesystem::path path = RegistryPath();
        std::error_code ec;
        std::filesystem::remove(path, ec);
        if (ec) return Fail(ORMAVEC_SELFREG_E_CLASS, err::PathFileAccessError, "Ormavec", "Cannot remove " + path.string());
        return ORMAVEC_S_OK;
    });
}

}  // extern "C"
