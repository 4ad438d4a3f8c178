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
#include "document/spline.h"
#include "test_support.h"

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

// The curve by the basis functions' recursion, each weighted.
std::array<double, 3> basisAt(const SplineCurve& s, double u) {
    const std::vector<double>& t = s.Knots;
    const std::size_t p = static_cast<std::size_t>(s.Degree), n = s.Control.size();
    std::vector<double> b(t.size() - 1);
    for (std::size_t i = 0; i + 1 < t.size(); ++i) b[i] = t[i] <= u && u < t[i + 1] && i >= p && i < n;
    for (std::size_t d = 1; d <= p; ++d)
        for (std::size_t i = 0; i + d + 1 < t.size(); ++i) {
            const double l = t[i + d] > t[i] ? (u - t[i]) / (t[i + d] - t[i]) * b[i] : 0;
            const double r = t[i + d + 1] > t[i + 1] ? (t[i + d + 1] - u) / (t[i + d + 1] - t[i + 1]) * b[i + 1] : 0;
            b[i] = l + r;
        }
    std::array<double, 3> c{};
    double w = 0;
    for (std::size_t i = 0; i < n; ++i) {
        w += b[i] * s.Control[i][3];
        for (std::size_t j = 0; j < 3; ++j) c[j] += b[i] * s.Control[i][3] * s.Control[i][j];
    }
    for (double& x : c) x /= w;
    return c;
}

// A SPLINE's pairs: degree, knots, weights (when rational), control points.
RC_GTEST_PROP(R12, SplineChordsStayWithinTheTolerance, ()) {
    const int p = *gen::inRange(1, 6), n = p + 1 + *gen::inRange(0, 8);
    const bool clamped = *gen::arbitrary<bool>(), rational = *gen::arbitrary<bool>();
    RawEntity e{"SPLINE", 0, {{71, std::to_string(p)}}};
    double knot = between(-5, 5);
    for (int i = 0; i < n + p + 1; ++i) {
        if (!clamped || (i > p && i < n + 1)) knot += *gen::element(0.0, 0.01 + between(0, 3));
        e.Pairs.push_back({40, std::to_string(knot)});
    }
    for (int i = 0; i < n; ++i) {
        if (rational) e.Pairs.push_back({41, std::to_string(between(0, 10) + 0.05)});
        for (int code : {10, 20, 30}) e.Pairs.push_back({code, std::to_string(between(-100, 100) * (code == 30 ? *gen::inRange(0, 2) : 1))});
    }
    SplineCurve s;
    const std::string why = ReadSpline(e, s);
    RC_PRE(why != "no knot span to draw");
    RC_ASSERT(why == "");
    const double tolerance = *gen::element(0.0, between(0, 5) + 0.001);
    double size = 0;
    for (const auto& c : s.Control) size = std::max({size, std::abs(c[0]), std::abs(c[1]), std::abs(c[2])});
    const double tol = tolerance > 0 ? tolerance : 1e-9, near = 1e-9 * size;
    const std::vector<SplinePoint> pts = SplinePoints(s, tolerance);
    RC_ASSERT(pts.front().u == s.Knots[p]);
    RC_ASSERT(pts.back().u == s.Knots[n]);
    const auto at = [&](double u) { return basisAt(s, u < s.Knots[n] ? u : std::nextafter(u, -HUGE_VAL)); };
    for (std::size_t i = 0; i + 1 < pts.size(); ++i) {
        const SplinePoint &a = pts[i], &b = pts[i + 1];
        // The curve's two ends at a jump share their parameter.
        RC_ASSERT(a.u <= b.u);
        const auto on = at(a.u == b.u ? std::nextafter(a.u, -HUGE_VAL) : a.u);
        if (a.u == b.u) continue;
        RC_ASSERT(std::hypot(on[0] - a.x, on[1] - a.y, on[2] - a.z) <= 1e3 * near + 1e-9);
        // Every point of the curve within the tolerance of its chord (for 0, of a thousandth of the points' box).
        const double dx = b.x - a.x, dy = b.y - a.y, dz = b.z - a.z, len2 = dx * dx + dy * dy + dz * dz;
        for (int k = 1; k < 8; ++k) {
            const auto c = at(a.u + (b.u - a.u) * k / 8);
            const double f = len2 > 0 ? std::clamp(((c[0] - a.x) * dx + (c[1] - a.y) * dy + (c[2] - a.z) * dz) / len2, 0.0, 1.0) : 0;
            const double off = std::hypot(c[0] - a.x - f * dx, c[1] - a.y - f * dy, c[2] - a.z - f * dz);
            RC_ASSERT(off <= (tolerance > 0 ? tol : size * 3.5e-3) + 1e3 * near + 1e-9);
        }
    }
}

// Kept SPLINEs become polylines in an R12 save; those that make no curve are
// left out and said, never a crash.
TEST(R12, KeptSplinesBecomePolylines) {
    const std::string spline = "0 SPLINE\n8 S\n70 8\n71 ";
    const std::string good = "3\n40 0\n40 0\n40 0\n40 0\n40 1\n40 1\n40 1\n40 1\n10 0\n20 0\n10 1\n20 2\n10 3\n20 2\n10 4\n20 0\n";
    const std::string drawing = "0 SECTION\n2 ENTITIES\n" + spline + good + spline + "0\n40 0\n40 1\n10 0\n20 0\n" + spline + "99\n" + good +
                                spline + "3\n40 0\n40 1\n10 0\n20 0\n10 1\n20 1\n10 2\n20 0\n10 3\n20 1\n" + spline + "1\n40 0\n40 0\n40 1\n40 1\n41 0\n41 1\n10 0\n20 0\n10 1\n20 1\n" +
                                spline + "1\n40 0\n40 0\n40 nan\n40 1\n10 0\n20 0\n10 1\n20 1\n" + "0 SPLINE\n8 S\n11 0\n21 0\n11 5\n21 5\n11 9\n21 0\n0 ENDSEC\n0 EOF\n";
    test::TempDir dir;
    test::WriteFile(dir / "in.dxf", test::Dxf(drawing));
    DXFDocument doc;
    doc.SetKeepSplines(true);
    doc.Load(dir / "in.dxf");
    EXPECT_TRUE(doc.NotKept().Empty()) << doc.NotKept().Text();
    doc.SetSaveMode(SaveMode::R12);
    doc.Save(dir / "out.dxf");
    ASSERT_EQ(doc.Warnings().size(), 1u);
    EXPECT_EQ(doc.Warnings()[0].Text().substr(doc.Warnings()[0].Text().find("left out")),
              "left out: 1 SPLINE not drawn (2 knots for 4 control points of degree 3 (8 needed)), 1 SPLINE not drawn (a weight that is "
              "not positive), 1 SPLINE not drawn (degree 0), 1 SPLINE not drawn (degree 99), 1 SPLINE not drawn (group 40 holds no number)");
    DXFDocument back;
    back.Load(dir / "out.dxf");
    ASSERT_EQ(back.ENTITIES()->POLYLINES()->Count(), 2);
    const POLYLINE_ENT& curve = back.ENTITIES()->POLYLINES()->ItemRef(0);
    EXPECT_EQ(curve.Layer, "S");
    EXPECT_DOUBLE_EQ(curve.Vertices.front().Y, 0);
    EXPECT_DOUBLE_EQ(curve.Vertices.back().X, 4);
    EXPECT_EQ(back.ENTITIES()->POLYLINES()->ItemRef(1).Vertices.size(), 3u);  // through the fit points
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

// Model-space HATCHes kept for drawing: a pattern's families become SVG
// patterns at their angle; pairs out of order draw nothing and break nothing.
// After a preserving load a block's typed HATCH keeps its pattern too.
TEST(Svg, HatchPatternsAndHostilePairs) {
    const std::string drawing =
        "0 SECTION\n2 BLOCKS\n0 BLOCK\n8 0\n2 B\n70 0\n10 0\n20 0\n0 HATCH\n8 0\n2 P\n70 0\n71 0\n91 1\n92 2\n72 0\n73 1\n93 2\n"
        "10 0\n20 0\n10 9\n20 0\n97 0\n75 0\n76 1\n52 0\n41 1\n77 0\n78 1\n53 60\n43 0\n44 0\n45 -1\n46 2\n79 0\n98 0\n"
        "0 ENDBLK\n0 ENDSEC\n"
        "0 SECTION\n2 ENTITIES\n0 INSERT\n8 0\n2 B\n10 0\n20 0\n0 HATCH\n8 0\n70 0\n91 1\n92 2\n72 0\n73 1\n93 3\n10 0\n20 0\n10 10\n20 0\n10 0\n20 10\n97 0\n75 0\n76 1\n"
        "78 1\n53 30\n43 0\n44 0\n45 -1\n46 2\n79 2\n49 2\n49 -1\n0 HATCH\n91 1\n72 4\n10 1\n20 1\n72 2\n40 nan\n92 7\n72 3\n53\n49 1\n0 ENDSEC\n0 EOF\n";
    test::TempDir dir;
    test::WriteFile(dir / "in.dxf", test::Dxf(drawing));
    DXFDocument doc;
    doc.SetKeepSplines(true);
    doc.SetPreserve(true);
    doc.Load(dir / "in.dxf");
    std::string svg;
    WriteSvg(doc, {}, "", &svg);
    EXPECT_NE(svg.find("rotate(30)"), std::string::npos) << svg;
    EXPECT_NE(svg.find("rotate(60)"), std::string::npos);
    EXPECT_NE(svg.find("fill=\"url(#p0)\""), std::string::npos);
}

// A model space large enough to be drawn by two threads keeps the order read.
TEST(Svg, ALargeDrawingKeepsTheOrderRead) {
    static const char* const kHex[] = {"#ff0000", "#ffff00", "#00ff00", "#00ffff", "#0000ff", "#ff00ff"};
    static const char* const kKinds[] = {"LINE\n10 0\n20 0\n11 1\n21 1\n", "CIRCLE\n10 0\n20 0\n40 1\n", "TEXT\n10 0\n20 0\n40 1\n1 a\n",
                                         "LWPOLYLINE\n90 2\n10 0\n20 0\n10 2\n20 1\n"};
    std::string drawing = "0 SECTION\n2 ENTITIES\n", expected;
    for (int i = 0; i < 12000; ++i) {
        drawing += std::string("0 ") + kKinds[(i * 7 + i / 5) % 4] + "8 0\n62 " + std::to_string(i % 6 + 1) + "\n";
        expected += kHex[i % 6];
    }
    test::TempDir dir;
    test::WriteFile(dir / "in.dxf", test::Dxf(drawing + "0 ENDSEC\n0 EOF\n"));
    DXFDocument doc;
    doc.SetKeepSplines(true);
    doc.Load(dir / "in.dxf");
    std::string svg, drawn;
    WriteSvg(doc, {}, "", &svg);
    for (std::size_t at = svg.find("</defs>"); (at = svg.find("=\"#", at)) != std::string::npos; at += 3)
        if (svg.compare(at + 9, 1, "\"") == 0) drawn += svg.substr(at + 2, 7);
    EXPECT_EQ(drawn.size(), expected.size());
    EXPECT_TRUE(drawn == expected) << "first difference at " << std::mismatch(drawn.begin(), drawn.end(), expected.begin()).first - drawn.begin();
}

// Entities of mixed kinds are drawn in the order read (a raw HATCH among
// typed ones too), a 3D face filled whatever its edge flags; an MTEXT
// without a colour takes its layer's (7: the foreground).
RC_GTEST_PROP(Svg, DrawsInTheOrderRead, ()) {
    static const char* const kHex[] = {"#ff0000", "#ffff00", "#00ff00", "#00ffff", "#0000ff", "#ff00ff"};
    static const char* const kKinds[][2] = {{"LINE\n10 0\n20 0\n11 1\n21 1\n", "stroke"}, {"CIRCLE\n10 0\n20 0\n40 1\n", "stroke"},
        {"POINT\n10 0\n20 0\n", "fill"}, {"TEXT\n10 0\n20 0\n40 1\n1 a\n", "fill"},
        {"HATCH\n70 1\n91 1\n92 2\n72 0\n73 1\n93 3\n10 0\n20 0\n10 1\n20 0\n10 0\n20 1\n97 0\n75 0\n76 1\n", "fill"},
        {"3DFACE\n10 0\n20 0\n11 1\n21 0\n12 1\n22 1\n13 0\n23 1\n70 ", "fill"}, {"MTEXT\n10 0\n20 0\n40 1\n41 9\n1 a\n", "fill"}};
    const auto kinds = *gen::container<std::vector<int>>(gen::inRange(0, 7));
    std::string drawing = "0 SECTION\n2 ENTITIES\n";
    std::vector<std::string> expected, drawn;
    for (std::size_t i = 0; i < kinds.size(); ++i) {
        const int hidden = *gen::inRange(0, 16), k = kinds[i];
        drawing += std::string("0 ") + kKinds[k][0] + (k == 5 ? std::to_string(hidden) + "\n" : "") + "8 0\n";
        if (k != 6) drawing += "62 " + std::to_string(i % 6 + 1) + "\n";
        expected.push_back(std::string(kKinds[k][1]) + "=" + (k == 6 ? "#000000" : kHex[i % 6]));
    }
    test::TempDir dir;
    test::WriteFile(dir / "in.dxf", test::Dxf(drawing + "0 ENDSEC\n0 EOF\n"));
    DXFDocument doc;
    doc.SetKeepSplines(true);
    doc.Load(dir / "in.dxf");
    std::string svg;
    WriteSvg(doc, {}, "", &svg);
    for (std::size_t at = svg.find("</defs>"); (at = svg.find("\n<", at)) != std::string::npos; ++at)
        if (const std::size_t c = svg.find("=\"#", at); svg[at + 2] != '/' && c < svg.find('\n', at + 1))
            drawn.push_back(svg.substr(svg.rfind(' ', c) + 1, c - svg.rfind(' ', c)) + svg.substr(c + 2, 7));
    RC_ASSERT(drawn == expected);
}
