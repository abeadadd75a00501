// Shutter record: the exact-1.2 opening time, whitespace-skipping byte reads, the
// writer's bytes and the mode rule under dynamic shutter control.
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "records/TSHUTTER.h"

namespace {
// A literal with its embedded NULs.
template <std::size_t N>
std::string Bytes(const char (&s)[N]) {
    return std::string(s, N - 1);
}
}  // namespace

TEST(Shutter, OpeningTimeOnlyInVersionOnePointTwo) {
    {
        std::istringstream is(Bytes("65538 \x01 \x03 \x02 \x00 1.5 2.5X"));
        TShutter s;
        is >> s;
        EXPECT_EQ(s.GetType(), 1);
        EXPECT_EQ(s.GetMode(), 3);
        EXPECT_EQ(s.GetCustomBgMode(), 2);
        EXPECT_EQ(s.GetCustomMode(), 0);
        EXPECT_FLOAT_EQ(s.GetClosingTime(), 1.5f);
        EXPECT_FLOAT_EQ(s.GetOpeningTime(), 2.5f);
        EXPECT_EQ(is.get(), 'X');
    }
    // 1.1, 1.3 and 2.2 copy the closing time and leave the next number unread.
    for (const char* v : {"65537", "65539", "131074"}) {
        std::istringstream is(std::string(v) + Bytes(" \x05 \x04 \x03 \x02 1.5 2.5"));
        TShutter s;
        is >> s;
        EXPECT_EQ(s.GetType(), 5) << v;
        EXPECT_EQ(s.GetCustomMode(), 2) << v;
        EXPECT_FLOAT_EQ(s.GetOpeningTime(), 1.5f) << v;
        double next = 0;
        is >> next;
        EXPECT_DOUBLE_EQ(next, 2.5) << v;
    }
    {  // A whitespace value byte is skipped, and the fields shift.
        std::istringstream is(Bytes("65538 \t \x01 \x02 \x03 1.5 2.5"));
        TShutter s;
        is >> s;
        EXPECT_EQ(s.GetType(), 1);
        EXPECT_EQ(s.GetMode(), 2);
        EXPECT_EQ(s.GetCustomBgMode(), 3);
        EXPECT_EQ(s.GetCustomMode(), '1');
        EXPECT_FLOAT_EQ(s.GetClosingTime(), 0.5f);
        EXPECT_FLOAT_EQ(s.GetOpeningTime(), 2.5f);
    }
}

TEST(Shutter, WriterBytesAndRoundTrip) {
    TShutter s;
    s.SetType(4);
    s.SetMode(3);
    s.SetCustomBgMode(5);
    s.SetCustomMode(6);
    s.SetClosingTime(0.5f);
    s.SetOpeningTime(0.25f);
    std::ostringstream os;
    os << s;
    EXPECT_EQ(os.str(), Bytes("65538 \x04 \x03 \x05 \x06 0.5 0.25"));

    std::istringstream is(os.str());
    TShutter b;
    is >> b;
    EXPECT_EQ(b.GetType(), 4);
    EXPECT_EQ(b.GetMode(), 3);
    EXPECT_EQ(b.GetCustomBgMode(), 5);
    EXPECT_EQ(b.GetCustomMode(), 6);
    EXPECT_FLOAT_EQ(b.GetClosingTime(), 0.5f);
    EXPECT_FLOAT_EQ(b.GetOpeningTime(), 0.25f);
}

TEST(Shutter, ModeRuleUnderDynamicControl) {
    TShutter s;
    s.SetMode(0);
    s.SetDynamicShutterControl(false);  // mode 0 is saved, 2 takes its place
    EXPECT_EQ(s.GetMode(), 2);
    s.SetMode(5);  // only remembered
    EXPECT_EQ(s.GetMode(), 2);
    s.SetMode(3);  // a fixed mode applies at once
    EXPECT_EQ(s.GetMode(), 3);
    s.SetDynamicShutterControl(true);  // back to the last mode asked for
    EXPECT_EQ(s.GetMode(), 5);
    EXPECT_TRUE(s.GetDynamicShutterControl());

    s.SetMode(1);
    s.SetDynamicShutterControl(false);  // a fixed mode stays
    EXPECT_EQ(s.GetMode(), 1);
    s.SetDynamicShutterControl(false);  // already off: nothing moves
    EXPECT_EQ(s.GetMode(), 1);
    s.SetDynamicShutterControl(true);
    EXPECT_EQ(s.GetMode(), 1);

    TShutter copy(s);
    copy.SetDynamicShutterControl(false);
    copy.SetMode(7);
    copy.SetDynamicShutterControl(true);
    EXPECT_EQ(copy.GetMode(), 7);
}
