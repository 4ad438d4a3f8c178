// The parts of every saved file that do not come from the model.
#include "document/document.h"

#include <string>
#include <vector>

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

namespace {

void writeMlineStyleBody(DXFWriter& w) {
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
}

void writeDictionaryHead(DXFWriter& w, int32_t self, int32_t owner) {
    w.WriteString(0, "DICTIONARY");
    w.WriteHandle(5, self);
    w.WriteHandle(330, owner);
    w.WriteString(100, "AcDbDictionary");
}

// A layout with the plot settings of no device; the model space layout comes
// first in the tab order.
void writeLayout(DXFWriter& w, const SaveContext::Layout& layout, int32_t owner, std::string_view name,
                 int32_t tabOrder) {
    w.WriteString(0, "LAYOUT");
    w.WriteHandle(5, layout.object);
    w.WriteHandle(330, owner);
    w.WriteString(100, "AcDbPlotSettings");
    w.WriteString(1, "");
    w.WriteString(2, "none_device");
    w.WriteString(4, "");
    w.WriteString(6, "");
    for (int32_t code : {40, 41, 42, 43, 44, 45, 46, 47, 48, 49, 140, 141}) w.WriteDouble(code, 0.0);
    w.WriteDouble(142, 1.0);
    w.WriteDouble(143, 1.0);
    w.WriteInteger(70, 688);
    w.WriteInteger(72, 0);
    w.WriteInteger(73, 0);
    w.WriteInteger(74, 5);
    w.WriteString(7, "");
    w.WriteInteger(75, 16);
    w.WriteDouble(147, 1.0);
    w.WriteDouble(148, 0.0);
    w.WriteDouble(149, 0.0);
    w.WriteString(100, "AcDbLayout");
    w.WriteString(1, name);
    w.WriteInteger(70, 1);
    w.WriteInteger(71, tabOrder);
    w.WritePoint(0.0, 0.0, 0.0, 10, 20, 30);
    w.WritePoint(12.0, 9.0, 0.0, 11, 21, 31);
    w.WritePoint(0.0, 0.0, 0.0, 12, 22, 32);
    w.WritePoint(0.0, 0.0, 0.0, 14, 24, 34);
    w.WritePoint(0.0, 0.0, 0.0, 15, 25, 35);
    w.WriteDouble(146, 0.0);
    w.WritePoint(0.0, 0.0, 0.0, 13, 23, 33);
    w.WritePoint(1.0, 0.0, 0.0, 16, 26, 36);
    w.WritePoint(0.0, 1.0, 0.0, 17, 27, 37);
    w.WriteInteger(76, 0);
    w.WriteHandle(330, layout.record);
}

// The same objects with owners, without the dictionary that nothing
// references, and with a layout for every model and paper space block.
void writeStandardObjects(SaveContext& save) {
    DXFWriter& w = save.Writer();
    const SaveContext& links = save;
    const int32_t root = save.TakeHandle();
    const int32_t groups = save.TakeHandle();
    const int32_t layouts = save.TakeHandle();
    const int32_t mlineStyles = save.TakeHandle();
    const int32_t standard = save.TakeHandle();
    std::vector<std::string> names;
    int32_t paperSpaces = 0;
    for (const SaveContext::Layout& l : links.layouts)
        names.push_back(l.record == links.modelSpaceRecord ? std::string("Model") : "Layout" + std::to_string(++paperSpaces));
    w.WriteString(0, "SECTION");
    w.WriteString(2, "OBJECTS");
    writeDictionaryHead(w, root, 0);
    w.WriteString(3, "ACAD_GROUP");
    w.WriteHandle(350, groups);
    w.WriteString(3, "ACAD_LAYOUT");
    w.WriteHandle(350, layouts);
    w.WriteString(3, "ACAD_MLINESTYLE");
    w.WriteHandle(350, mlineStyles);
    writeDictionaryHead(w, groups, root);
    writeDictionaryHead(w, layouts, root);
    for (std::size_t i = 0; i < links.layouts.size(); ++i) {
        w.WriteString(3, names[i]);
        w.WriteHandle(350, links.layouts[i].object);
    }
    paperSpaces = 0;
    for (std::size_t i = 0; i < links.layouts.size(); ++i)
        writeLayout(w, links.layouts[i], layouts, names[i], names[i] == "Model" ? 0 : ++paperSpaces);
    writeDictionaryHead(w, mlineStyles, root);
    w.WriteString(3, "STANDARD");
    w.WriteHandle(350, standard);
    w.WriteString(0, "MLINESTYLE");
    w.WriteHandle(5, standard);
    w.WriteHandle(330, mlineStyles);
    writeMlineStyleBody(w);
    w.WriteString(0, "ENDSEC");
}

}  // namespace

void DXFDocument::WriteObjects(SaveContext& save) {
    if (save.Standard()) {
        writeStandardObjects(save);
        return;
    }
    DXFWriter& w = save.Writer();
    // The group and multiline-style dictionaries are referenced before they
    // are written.
    const int32_t root = save.TakeHandle();
    const int32_t groups = save.TakeHandle();
    const int32_t mlineStyles = save.TakeHandle();
    const int32_t unreferenced = save.TakeHandle();
    const int32_t standard = save.TakeHandle();
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
    w.WriteString(0, "DICTIONARY");
    w.WriteHandle(5, unreferenced);
    w.WriteString(100, "AcDbDictionary");
    w.WriteString(0, "DICTIONARY");
    w.WriteHandle(5, mlineStyles);
    w.WriteString(100, "AcDbDictionary");
    w.WriteString(3, "STANDARD");
    w.WriteHandle(350, standard);
    w.WriteString(0, "MLINESTYLE");
    w.WriteHandle(5, standard);
    writeMlineStyleBody(w);
    w.WriteString(0, "ENDSEC");
}

void DXFDocument::WriteEof(DXFWriter& w) { w.WriteString(0, "EOF"); }

}  // namespace ormavec
