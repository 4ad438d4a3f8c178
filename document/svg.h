// The model space as an SVG picture, written as it is made: the blocks once
// as definitions, each insert a reference to its block; the y axis up; the
// view fitted to what is drawn.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

namespace ormavec {

class DXFDocument;

struct SvgOptions {
    std::vector<std::string> layers;  // draw only these layers (none: every visible layer)
    std::string background;           // a CSS colour filling the picture; "" for none
    double width = 1000;              // the picture's width in pixels
};

// Writes to the file ("-" for standard output) or, with fileName empty, to *text.
void WriteSvg(const DXFDocument& doc, const SvgOptions& options, const std::string& fileName, std::string* text = nullptr);

}  // namespace ormavec
