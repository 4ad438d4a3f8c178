// The parts of every saved file that do not come from the model.
#include "document/document.h"

namespace ormavec {

void DXFDocument::WriteClasses(DXFWriter& w) {
    struct ClassEntry {
        const char* dxfName;
        const char* cppName;
        const char* application;
        int32_t proxyFlags;
        int32_t wasProxy;
        int32_t isEntity;
    };
    static constexpr ClassEntry kClasses[] = {
        {"LWPOLYLINE", "AcDbPolyline", "AutoCAD", 0, 0, 1},
        {"WIPEOUT", "AcDbWipeout", "WIPEOUT", 127, 0, 1},
        {"WIPEOUTVARIABLES", "AcDbWipeoutVariables", "WIPEOUT", 0, 2, 0},
    };
    w.WriteString(0, "SECTION");
    w.WriteString(2, "CLASSES");
    for (const ClassEntry& c : kClasses) {
        w.WriteString(0, "CLASS");
        w.WriteString(1, c.dxfName);
        w.WriteString(2, c.cppName);
        w.WriteString(3, c.application);
        w.WriteInteger(90, c.proxyFlags);
        w.WriteInteger(280, c.wasProxy);
        w.WriteInteger(281, c.isEntity);
    }
    w.WriteString(0, "ENDSEC");
}

void DXFDocument::WriteObjects(DXFWriter& w, int32_t& handle) {
    const int32_t root = NextHandle(handle);
    // The group and multiline-style dictionaries are referenced before they
    // are written; their handles are reserved by moving the counter past them.
    int32_t probe = handle;
    const int32_t groups = NextHandle(probe);
    const int32_t mlineStyles = NextHandle(probe);
    w.WriteString(0, "SECTION");
    w.WriteString(2, "OBJECTS");
    w.WriteString(0, "DICTIONARY");
    w.WriteHandle(5, root);
    w.WriteString(100, "AcDbDictionary");
    w.WriteString(3, "ACAD_GROUP");
    w.WriteHandle(350, groups);
    w.WriteString(3, "ACAD_MLINESTYLE");
    w.WriteHandle(350, mlineStyles);
    w.WriteString(0, "DICTIONARY");
    w.WriteHandle(5, groups);
    w.WriteString(100, "AcDbDictionary");
    handle = probe;
    const int32_t unreferenced = NextHandle(handle);
    w.WriteString(0, "DICTIONARY");
    w.WriteHandle(5, unreferenced);
    w.WriteString(100, "AcDbDictionary");
    w.WriteString(0, "DICTIONARY");
    w.WriteHandle(5, mlineStyles);
    w.WriteString(100, "AcDbDictionary");
    w.WriteString(3, "STANDARD");
    const int32_t standard = NextHandle(handle);
    w.WriteHandle(350, standard);
    w.WriteString(0, "MLINESTYLE");
    w.WriteHandle(5, standard);
    w.WriteString(100, "AcDbMlineStyle");
    w.WriteString(2, "STANDARD");
    w.WriteInteger(70, 0);
    w.WriteString(3, "");
    w.WriteInteger(62, 0);
    w.WriteDouble(51, 90.0);
    w.WriteDouble(52, 90.0);
    w.WriteInteger(71, 2);
    w.WriteDouble(49, 0.5);
    w.WriteInteger(62, 256);
    w.WriteString(6, "BYLAYER");
    w.WriteDouble(49, -0.5);
    w.WriteInteger(62, 256);
    w.WriteString(6, "BYLAYER");
    w.WriteString(0, "ENDSEC");
}

void DXFDocument::WriteEof(DXFWriter& w) { w.WriteString(0, "EOF"); }

}  // namespace ormavec
