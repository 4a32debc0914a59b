#include <libQuellmod/GuidToString.h>
#include <orv/OrvArray.h>
#include <orv/OrvString.h>
#include <orv/OrvValue.h>

#include <gtest/gtest.h>

#include <windows.h>

#include <vector>

namespace {

std::vector<std::string> utf8Of(orv::Array<orv::String> const& texts) {
    std::vector<std::string> result;
    for (orv::String const& text : texts) {
        result.push_back(text.toUtf8());
    }
    return result;
}

TEST(StringTest, HoldsUcs2UnitsWithATerminatorBeyondSize) {
    orv::String const ascii("Speakers");
    EXPECT_EQ(8u, ascii.size());
    EXPECT_EQ(u'S', ascii.getUCS2Buffer()[0]);
    EXPECT_EQ(0, ascii.getUCS2Buffer()[8]);

    unsigned short const units[] = {0x4D, 0xE4, 0x20AC, 0};
    orv::String wide(units);
    EXPECT_EQ(3u, wide.size());
    EXPECT_EQ(0x20AC, wide.getUCS2Buffer()[2]);
    EXPECT_EQ(std::string("M\xC3\xA4\xE2\x82\xAC"), wide.toUtf8());
    EXPECT_TRUE(orv::String::fromUtf8(wide.toUtf8()) == wide);

    orv::String assigned;
    assigned = units;
    EXPECT_TRUE(assigned == wide);
    assigned = static_cast<unsigned short const*>(nullptr);
    EXPECT_TRUE(assigned.empty());
    EXPECT_TRUE(orv::String(static_cast<char const*>(nullptr)).empty());
}

TEST(StringTest, EqualityMindsCaseAndCompareNoCaseDoesNot) {
    orv::String const upper("{0.0.1.00000000}.{ABC}");
    orv::String const lower("{0.0.1.00000000}.{abc}");
    EXPECT_FALSE(upper == lower);
    EXPECT_TRUE(upper != lower);
    EXPECT_EQ(0, upper.compareNoCase(lower));
    EXPECT_EQ(0, orv::String::compareNoCase(lower, upper));
    EXPECT_LT(orv::String::compareNoCase("abc", "ABD"), 0);
    EXPECT_GT(orv::String("abd").compareNoCase("ABC"), 0);
    EXPECT_NE(0, orv::String("abc").compareNoCase("abcd"));
}

TEST(StringTest, ConcatenationInEveryOrder) {
    orv::String const name("Speakers");
    EXPECT_EQ("Device: Speakers", ("Device: " + name).toUtf8());
    EXPECT_EQ("Speakers (2)", (name + " (2)").toUtf8());
    EXPECT_EQ("SpeakersSpeakers", (name + name).toUtf8());
    orv::String grown(name);
    grown += " and ";
    grown += name;
    EXPECT_EQ("Speakers and Speakers", grown.toUtf8());
    EXPECT_EQ("Speakers", name.toUtf8());
}

TEST(StringTest, TokenizeSplitsAtAnySeparatorAndDropsEmptyPieces) {
    orv::String const path("HDAUDIO\\FUNC_01&VEN_10EC&&DEV_0269\\4&1");
    EXPECT_EQ((std::vector<std::string>{"HDAUDIO", "FUNC_01", "VEN_10EC", "DEV_0269", "4", "1"}),
              utf8Of(path.tokenize("\\&")));
    EXPECT_EQ((std::vector<std::string>{"whole"}), utf8Of(orv::String("whole").tokenize(",")));
    EXPECT_EQ(0u, orv::String(",,").tokenize(",").size());
    EXPECT_EQ(0u, orv::String().tokenize(",").size());
}

TEST(StringTest, TrimStripsSurroundingWhiteSpaceInPlace) {
    orv::String text(" \t true \r\n");
    orv::String& result = text.trim();
    EXPECT_EQ(&text, &result);
    EXPECT_EQ("true", text.toUtf8());
    EXPECT_EQ("a b", orv::String("a b").trim().toUtf8());
    EXPECT_TRUE(orv::String(" \t ").trim().empty());
}

TEST(StringTest, StrToBooleanKnowsItsTrueWordsInAnyCase) {
    for (char const* yes : {"true", "TRUE", "Yes", "on", "1"}) {
        EXPECT_TRUE(orv::String::strToBoolean(yes)) << yes;
    }
    for (char const* no : {"false", "0", "no", "off", "", "2", "truex", " true"}) {
        EXPECT_FALSE(orv::String::strToBoolean(no)) << no;
    }
}

TEST(OrvValueTest, HexTextHasAllDigitsInUppercase) {
    long const hr = static_cast<long>(0x8889000EUL);
    EXPECT_EQ("0x8889000E", orv::OrvValue(hr).toHexString(true).toUtf8());
    EXPECT_EQ("8889000E", orv::OrvValue(hr).toHexString(false).toUtf8());
    EXPECT_EQ("0x00000000", orv::OrvValue(0).toHexString(true).toUtf8());
    EXPECT_EQ("0xFFFFFFFF", orv::OrvValue(-1).toHexString(true).toUtf8());
    EXPECT_EQ("0x000000000000ABCD", orv::OrvValue(0xABCDULL).toHexString(true).toUtf8());
    unsigned long const code = 0x3D1;
    EXPECT_EQ("0x000003D1", orv::OrvValue(code).toHexString(true).toUtf8());
}

TEST(OrvValueTest, DecimalTextWithAndWithoutFilling) {
    unsigned int const big = 4294967295u;
    EXPECT_EQ("4294967295", orv::OrvValue(big).toString(orv::OrvValue::nilValue()).toUtf8());
    EXPECT_EQ("-5", orv::OrvValue(-5).toString(orv::OrvValue::nilValue()).toUtf8());
    long long const negative = -9000000000LL;
    EXPECT_EQ("-9000000000", orv::OrvValue(negative).toString(orv::OrvValue::nilValue()).toUtf8());
    EXPECT_EQ("0", orv::OrvValue(0u).toString(orv::OrvValue::nilValue()).toUtf8());
    EXPECT_EQ("007", orv::OrvValue(7).toString(3).toUtf8());
}

TEST(GuidToStringTest, RegistryFormInUppercase) {
    GUID guid = {0xDFF21CE1, 0xF70F, 0x11D0, {0xB9, 0x17, 0x00, 0xA0, 0xC9, 0x22, 0x31, 0x96}};
    EXPECT_EQ("{DFF21CE1-F70F-11D0-B917-00A0C9223196}", guidToString(&guid).toUtf8());
    GUID lowDigits = {0x0000000a, 0x000b, 0x000c, {0, 1, 2, 3, 4, 5, 6, 7}};
    EXPECT_EQ("{0000000A-000B-000C-0001-020304050607}", guidToString(&lowDigits).toUtf8());
    EXPECT_TRUE(guidToString(nullptr).empty());
}

}  // namespace
