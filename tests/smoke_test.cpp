#include <gtest/gtest.h>

#include "ormavec.h"

TEST(Smoke, NewDocumentHasItsSections) {
    ormavec::DXFDocument doc;
    EXPECT_EQ(doc.ENTITIES()->LINES()->Count(), 0);
    EXPECT_EQ(doc.HEADER()->AcadVer(), 0);
}
