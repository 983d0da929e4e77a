#include "core/format.h"

#include <gtest/gtest.h>

#include <cstring>

TEST(Format, TextIntegersAndConversions) {
    EXPECT_EQ(format_text("plain"), "plain");
    EXPECT_EQ(format_text("a\\nb\\rc\\td"), "a\nb\rc\td");
    EXPECT_EQ(format_text("\\%d \\\\ \\q"), "%d \\ q");
    EXPECT_EQ(format_text("100%%"), "100%");
    EXPECT_EQ(format_text("end\\"), "end");
    EXPECT_EQ(format_text("%c%c|%s|", 'o', 'k', "two words"), "ok|two words|");
    EXPECT_EQ(format_text("wcsprofile \"%s\"", std::string("C:\\p q.icc")),
              "wcsprofile \"C:\\p q.icc\"");

    EXPECT_EQ(format_text("%d %d %d", 0, -42, 2147483647), "0 -42 2147483647");
    EXPECT_EQ(format_text("%3d", 7), "007");
    EXPECT_EQ(format_text("%3d", 1000), "***");
    EXPECT_EQ(format_text("%3d", 999), "999");
    EXPECT_EQ(format_text("Time left: %2d:%2d:%2d", 1, 5, 30), "Time left: 01:05:30");
    EXPECT_EQ(format_text("%3d", -5), "0-5");  // the minus is part of the text
    EXPECT_EQ(format_text("%2d", -5), "-5");
    EXPECT_EQ(format_text("%1d", -5), "*");
    // Exactly zero columns: every number is too long and prints no asterisk.
    EXPECT_EQ(format_text("[%0d]", 5), "[]");
    EXPECT_EQ(format_text("%6d", 123), "000123");
    EXPECT_EQ(format_text("%d", 2.9), "2");

    EXPECT_EQ(format_text("%,", 1234567), "1,234,567");
    EXPECT_EQ(format_text("%,", 123), "123");
    EXPECT_EQ(format_text("%,", 1000), "1,000");
    EXPECT_EQ(format_text("%,", -123), "-,123");
    EXPECT_EQ(format_text("%,", -1234), "-1,234");
    EXPECT_EQ(format_text("%,", -123456), "-,123,456");
    EXPECT_EQ(format_text("%,d", 1000), "1,000d");  // the comma ends the conversion
    EXPECT_EQ(format_text("%5,", 1234), "1,234");
    EXPECT_EQ(format_text("%6,", 1234), "01,234");
    EXPECT_EQ(format_text("%4,", 1234), "****");
}

TEST(Format, RealsAndArgumentParsing) {
    EXPECT_EQ(format_text("%f", 1.5), "1.5000");
    EXPECT_EQ(format_text("%2f", -0.00001), "0.00");
    EXPECT_EQ(format_text("%1f", 12345678.0), "*");
    EXPECT_EQ(format_text("%1f", -12345678.0), "*");
    EXPECT_EQ(format_text("%0f", 5.0), "05");
    EXPECT_EQ(format_text("%0f", 0.0), "0");
    EXPECT_EQ(format_text("%0f", -5.0), "-05");
    EXPECT_EQ(format_text("%0f dpi", 300.0), "300 dpi");
    EXPECT_EQ(format_text("%2f", 0.0), "0.00");
    EXPECT_EQ(format_text("%2f", 0.5), "0.50");
    EXPECT_EQ(format_text("%2f", -0.5), "-0.50");
    EXPECT_EQ(format_text("%2f", 0.125), "0.13");  // half away from zero
    EXPECT_EQ(format_text("%2f", -0.125), "-0.13");
    EXPECT_EQ(format_text("%2f", 0.0099), "0.00");  // below 10^-2: zero, not rounded up
    EXPECT_EQ(format_text("%2f", 0.011), "0.01");
    EXPECT_EQ(format_text("%6f", 3.1415926536), "3.141593");
    EXPECT_EQ(format_text("%1f", 10000000.0), "10000000.0");  // at the limit, not above
    EXPECT_EQ(format_text("%3f", 7), "7.000");                // integers read as reals
    // Beyond 32 bits once scaled by 10^N.
    EXPECT_EQ(format_text("%4f", 1234567.8912), "1234567.8912");
    EXPECT_EQ(format_text("%6f", -999999.999999), "-999999.999999");
    EXPECT_EQ(format_text("%6f", 1e12), "1000000000000.000000");

    EXPECT_EQ(format_text("%z2f", 1.5), "1.5");
    EXPECT_EQ(format_text("%z2f", 2.0), "2");
    EXPECT_EQ(format_text("%z2f", 100.0), "100");
    EXPECT_EQ(format_text("%z2f", 0.0), "0");
    EXPECT_EQ(format_text("%z2f", -0.25), "-0.25");
    EXPECT_EQ(format_text("%zf", 0.1), "0.1");
    EXPECT_EQ(format_text("%z0f", 10.0), "10");  // whole numbers keep their zeros

    // Unknown characters and 7, 8, 9 end the conversion, take no argument.
    EXPECT_EQ(format_text("a%qb%d", 3), "ab3");
    EXPECT_EQ(format_text("%7d|%9f|%d", 4), "d|f|4");
    // A later digit replaces an earlier one.
    EXPECT_EQ(format_text("%52f", 1.0), "1.00");
    EXPECT_EQ(format_text("%25d", 1), "00001");
    EXPECT_EQ(format_text("100%"), "100");

    EXPECT_EQ(format_text("%d|%s|%f|%c|%,", 1), "1||0.0000||0");
    EXPECT_EQ(format_text("%s", 12), "");
    EXPECT_EQ(format_text("%d", "text"), "0");
    EXPECT_EQ(format_args("%d-%d", {}), "0-0");
}

TEST(Format, IntoBuffer) {
    char buf[8];
    std::memset(buf, 'x', sizeof buf);
    const FormatArg args[] = {FormatArg(1234567)};
    EXPECT_EQ(format_to(buf, sizeof buf, "%,", args), 7);
    EXPECT_STREQ(buf, "1,234,5");
    EXPECT_EQ(format_to(buf, 3, "%d", args), 2);
    EXPECT_STREQ(buf, "12");
    EXPECT_EQ(format_to(buf, 0, "%d", args), 0);
    EXPECT_EQ(buf[0], '1');
}
