// The XML document with its cursor: navigation, typed values with their defaults,
// and nesting without end.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "metadata/mcfdataxml.h"

TEST(McfDataXML, CursorFindsNamedElementsAndValuesFallBackToDefaults) {
    TMcfDataXML xml(
        "<Lives><Other/><Live><i>42</i><f>2.5</f><bad>abc</bad><empty></empty><t>true</t><one>1</one></Live>"
        "<Live><i>-7</i></Live></Lives>");
    EXPECT_FALSE(xml.SetFirstChildNode("Live"));  // not at the top level
    ASSERT_TRUE(xml.SetFirstChildNode("Lives"));
    ASSERT_TRUE(xml.SetFirstChildNode("Live"));  // past the element of another name
    EXPECT_STREQ(xml.GetNodeValue(), "Live");
    EXPECT_EQ(xml.getStackHeadIndex(), 2);
    EXPECT_EQ((std::vector<int>{xml.GetIntData("i", -1), xml.GetIntData("bad", -1), xml.GetIntData("empty", -3),
                                xml.GetIntData("missing", -3)}),
              (std::vector<int>{42, 0, -3, -3}));
    EXPECT_EQ(std::make_tuple(xml.GetFloatData("f", 0), std::string(xml.GetStringData("empty", "dflt"))),
              std::make_tuple(2.5f, std::string("dflt")));
    // Only "true" is true.
    EXPECT_EQ((std::vector<bool>{xml.GetBoolData("t", false), xml.GetBoolData("one", true), xml.GetBoolData("missing", true)}),
              (std::vector<bool>{true, false, true}));
    ASSERT_TRUE(xml.SetNextSiblingNode("Live"));
    EXPECT_EQ(xml.GetIntData("i", 0), -7);
    EXPECT_FALSE(xml.SetNextSiblingNode("Live"));
    EXPECT_EQ(xml.GetIntData("i", 0), -7);  // a failed move keeps the cursor

    for (int i = 0; i < 3; ++i) xml.PopNode();  // the document itself is never popped
    EXPECT_TRUE(xml.SetFirstChildNode("Lives"));
    EXPECT_FALSE(TMcfDataXML(nullptr).SetFirstChildNode("R"));
}

TEST(McfDataXML, BottomlessNestingIsUsedAsFarAsItGoes) {
    // Far beyond any real section: must neither exhaust the stack nor lose what came before.
    std::string deep = "<R><v>5</v>";
    for (int i = 0; i < 200000; ++i) deep += "<a>";
    TMcfDataXML nested(deep.c_str());
    ASSERT_TRUE(nested.SetFirstChildNode("R"));
    EXPECT_EQ(nested.GetIntData("v", -1), 5);
}
