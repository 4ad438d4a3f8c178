// MTEXT pieces are decoded once joined, so that an escape cut between two
// pieces is one character; texts with backslashes, literal escapes, NUL bytes
// and characters the code page lacks survive an Auto load, a Standard save
// and a second Auto load, wherever the 250-unit cut of the save falls.
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "fuzz/fuzz_entries.h"
#include "tests/test_support.h"

namespace {

using namespace ormavec;

// A token as the file holds it, and what it is in an MTEXT text.
struct Token {
    std::string file, text;
};
const Token kTokens[] = {{"x", "x"}, {" ", " "}, {std::string(1, '\0'), std::string(1, '\0')}, {"U+0041", "U+0041"},
                         {"\\U+0094", "\xC2\x94"}, {"\\U+00e9", "\xC3\xA9"}, {"\\U+D83D\\U+DE00", "\xF0\x9F\x98\x80"},
                         {"\\U+005C", "\\"}, {"\\\\", "\\\\"}, {"\\U+000A", "\\U+000A"}, {"\\U+D83D", "\\U+D83D"}, {"\\U+", "\\U+"}};

RC_GTEST_PROP(MTextEscape, PiecesDecodeJoinedAndSurviveAStandardSave, ()) {
    const auto picks = *rc::gen::container<std::vector<std::size_t>>(rc::gen::inRange<std::size_t>(0, std::size(kTokens)));
    const std::size_t pad = *rc::gen::inRange<std::size_t>(236, 251);
    std::string file(pad, 'a'), text = file;
    for (std::size_t t : picks) file += kTokens[t].file;
    auto cuts = *rc::gen::container<std::vector<std::size_t>>(rc::gen::inRange<std::size_t>(0, file.size() + 1));
    cuts.insert(cuts.end(), {0, file.size()});
    std::sort(cuts.begin(), cuts.end());
    // The pieces keep the spaces at their ends: writers cut by length.
    std::string pairs;
    for (std::size_t k = 0; k + 1 < cuts.size(); ++k)
        pairs += (k + 2 < cuts.size() ? "3\n" : "1\n") + file.substr(cuts[k], cuts[k + 1] - cuts[k]) + "\n";
    for (std::size_t t : picks) text += kTokens[t].text;
    // AC1021 is read and saved as UTF-8, AC1015 in the code page; odd sizes take the Auto and Standard path.
    std::string dxf = "0\nSECTION\n2\nHEADER\n9\n$ACADVER\n1\n" + *rc::gen::element<std::string>("AC1015", "AC1021") +
                      "\n0\nENDSEC\n0\nSECTION\n2\nENTITIES\n0\nMTEXT\n" + pairs + "0\nTEXT\n1\n" + file + "\n0\nENDSEC\n0\nEOF\n";
    if (dxf.size() % 2 == 0) dxf.insert(0, "999\n\n");
    const auto* data = reinterpret_cast<const uint8_t*>(dxf.data());
    DXFDocument doc;
    doc.SetTextConvertMode(TextConvertMode::Auto);
    doc.Load(fuzz::WriteScratch("mtext.dxf", data, dxf.size()));
    RC_ASSERT(doc.ENTITIES()->MTEXTS()->Item(0).Text == text);
    RC_ASSERT(fuzz::RoundTripEntry(data, dxf.size()) == "");
}

}  // namespace

namespace {

// A preserving load and a Standard save give back a long text's pieces as
// the file cut them (spaces at the cuts included) while the text is
// unchanged, and cut afresh, whole, once the host changed its length.
RC_GTEST_PROP(MTextEscape, PreservedPiecesKeepTheirCuts, ()) {
    const std::string text = *rc::gen::container<std::string>(rc::gen::element('a', 'b', ' ', '\\', 'P'));
    auto cuts = *rc::gen::container<std::vector<std::size_t>>(rc::gen::inRange<std::size_t>(0, text.size() + 1));
    // A cut after a backslash is not given back: the character after it may be
    // written as an escape, which the two would then pair with.
    std::erase_if(cuts, [&](std::size_t c) { return c > 0 && text[c - 1] == '\\'; });
    cuts.push_back(text.size());
    std::sort(cuts.begin(), cuts.end());
    std::string pairs;
    for (std::size_t k = 0, start = 0; k < cuts.size(); start = cuts[k++])
        pairs += (k + 1 < cuts.size() ? "3\r\n" : "1\r\n") + text.substr(start, cuts[k] - start) + "\r\n";
    const std::string dxf = "0\nSECTION\n2\nENTITIES\n0\nMTEXT\n" + pairs + "0\nENDSEC\n0\nEOF\n";
    const std::string in = fuzz::WriteScratch("cuts.dxf", reinterpret_cast<const uint8_t*>(dxf.data()), dxf.size());
    const std::string out = (fuzz::ScratchDir() / "cuts.out.dxf").string();
    DXFDocument doc;
    doc.SetTextConvertMode(TextConvertMode::Auto);
    doc.SetPreserve(true);
    doc.SetSaveMode(SaveMode::Standard);
    doc.Load(in);
    const bool changed = *rc::gen::arbitrary<bool>();
    if (changed) {
        MTEXT_ENT m = doc.ENTITIES()->MTEXTS()->Item(0);
        m.Text += "x";
        doc.ENTITIES()->MTEXTS()->LetItem(0, m);
    }
    doc.Save(out);
    DXFDocument back;
    back.SetTextConvertMode(TextConvertMode::Auto);
    back.Load(out);
    RC_ASSERT(back.ENTITIES()->MTEXTS()->Item(0).Text == text + (changed ? "x" : ""));
    std::string saved = ormavec::test::ReadFile(out);
    saved = saved.substr(saved.find("AcDbMText"));
    if (!changed) RC_ASSERT(saved.find("\r\n" + pairs) != std::string::npos);
}

}  // namespace
