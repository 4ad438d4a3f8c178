// What R12 saves write in place of the kinds R12 lacks, and the picture.
// The chords of an ellipse stay within the tolerance of the curve; MTEXT
// loses its formatting codes and becomes one TEXT per line; the picture's
// view holds every drawn line and shows only the visible layers.
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <cmath>
#include <cstdio>
#include <numbers>
#include <string>
#include <vector>

#include "document/document.h"
#include "document/r12_save.h"

using namespace ormavec;
namespace gen = rc::gen;

namespace {
double between(int lo, int hi) { return *gen::inRange(lo * 1000, hi * 1000) / 1000.0; }
}  // namespace

RC_GTEST_PROP(R12, EllipseChordsStayWithinTheTolerance, ()) {
    ELLIPSE_ENT e;
    const double a = between(1, 1000), turn = between(0, 7);
    e.CenterX = between(-100, 100);
    e.CenterY = between(-100, 100);
    e.MajorAxisEndX = a * std::cos(turn);
    e.MajorAxisEndY = a * std::sin(turn);
    e.Ratio = between(0, 1) + 0.001;
    e.StartAngle = between(0, 7);
    e.EndAngle = *gen::element(0.0, 2 * std::numbers::pi, between(0, 7));
    const double tolerance = *gen::element(0.0, a * between(0, 1) / 10);
    const double tol = tolerance > 0 ? tolerance : a / 1000;
    const POLYLINE_ENT p = r12::AsPolyline(e, tolerance);
    const auto at = [&](double t) {
        return std::pair{e.CenterX + e.MajorAxisEndX * std::cos(t) - e.MajorAxisEndY * e.Ratio * std::sin(t),
                         e.CenterY + e.MajorAxisEndY * std::cos(t) + e.MajorAxisEndX * e.Ratio * std::sin(t)};
    };
    // Every vertex lies on the curve, every point of the curve near its chord.
    const std::size_t n = p.Vertices.size(), segments = p.IsClosed ? n : n - 1;
    RC_ASSERT(n >= 2);
    double span = e.EndAngle - e.StartAngle;
    while (span <= 0) span += 2 * std::numbers::pi;
    for (std::size_t i = 0; i < segments; ++i) {
        const VERTEX_ENT& u = p.Vertices[i];
        const VERTEX_ENT& v = p.Vertices[(i + 1) % n];
        const double len = std::hypot(v.X - u.X, v.Y - u.Y);
        for (int k = 0; k <= 8; ++k) {
            const auto [x, y] = at(e.StartAngle + span * (static_cast<double>(i) + k / 8.0) / static_cast<double>(segments));
            const double off = len == 0 ? std::hypot(x - u.X, y - u.Y) : std::abs((v.X - u.X) * (y - u.Y) - (v.Y - u.Y) * (x - u.X)) / len;
            RC_ASSERT(off <= tol * (1 + 1e-6) + 1e-9);
        }
    }
}

TEST(R12, MTextBecomesPlainLines) {
    const struct {
        const char* in;
        std::vector<std::string> out;
    } cases[] = {
        {"plain", {"plain"}},
        {"one\\Ptwo\\P", {"one", "two", ""}},
        {"{\\fArial|b1;bold} \\H2.5x;big\\~end", {"bold big end"}},
        {"\\A1;\\C3;\\LunderL\\l \\S1^2; \\S3/4;", {"underL 1/2 3/4"}},
        {"a \\\\ b \\{c\\}", {"a \\ b {c}"}},
        {"\\Q15;slant \\W0.8;narrow \\T2;wide", {"slant narrow wide"}},
    };
    for (const auto& c : cases) EXPECT_EQ(r12::PlainLines(c.in), c.out) << c.in;

    // Attached at its top left, unrotated: baselines one height, then 5/3 of it more, below.
    MTEXT_ENT m;
    m.X = 10, m.Y = 20, m.TextHeight = 3, m.Align = 1, m.Text = "first\\P\\Pthird", m.Layer = "L";
    const std::vector<TEXT_ENT> t = r12::AsTexts(m);
    ASSERT_EQ(t.size(), 2u);
    EXPECT_EQ(t[0].Text, "first");
    EXPECT_DOUBLE_EQ(t[0].StartY, 17);
    EXPECT_DOUBLE_EQ(t[1].StartY, 7);
    EXPECT_EQ(t[1].Layer, "L");
}

RC_GTEST_PROP(Svg, TheViewHoldsEveryLineOfAVisibleLayer, ()) {
    DXFDocument doc;
    LAYERS_TAB off{"OFF", "Continuous", -1, 0}, frozen{"FROZEN", "Continuous", 3, 1}, on{"ON", "Continuous", 5, 0};
    for (const LAYERS_TAB& l : {off, frozen, on}) doc.TABLES()->LAYERS()->Add(l);
    const auto lines = *gen::nonEmpty(gen::container<std::vector<int>>(gen::inRange(-1000, 1000)));
    int shown = 0;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        LINE_ENT l;
        l.Layer = i % 3 == 0 ? "ON" : i % 3 == 1 ? "OFF" : "FROZEN";
        l.ColorNumber = 256;
        l.StartX = lines[i], l.StartY = -lines[i] * 2, l.EndX = lines[i] + 1, l.EndY = 7;
        doc.ENTITIES()->LINES()->Add(l);
        shown += i % 3 == 0;
    }
    std::string svg;
    WriteSvg(doc, {}, "", &svg);
    std::size_t paths = 0;
    for (std::size_t at = 0; (at = svg.find("<path", at)) != std::string::npos; ++at) ++paths;
    RC_ASSERT(paths == static_cast<std::size_t>(shown));
    RC_ASSERT(svg.find("stroke=\"#0000ff\"") != std::string::npos);  // colour 5 of layer ON
    // viewBox x, -top, width, height: y is drawn upwards.
    double x = 0, y = 0, w = 0, h = 0;
    RC_ASSERT(std::sscanf(svg.c_str() + svg.find("viewBox=\"") + 9, "%lf %lf %lf %lf", &x, &y, &w, &h) == 4);
    for (std::size_t i = 0; i < lines.size(); i += 3)
        for (auto [px, py] : {std::pair<double, double>{lines[i], -lines[i] * 2.0}, {lines[i] + 1.0, 7.0}})
            RC_ASSERT(px >= x && px <= x + w && -py >= y && -py <= y + h);
}
