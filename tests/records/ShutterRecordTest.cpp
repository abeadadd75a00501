// Shutter record: the exact-1.2 opening time, whitespace-skipping byte reads, the
// writer's bytes and the mode rule under dynamic shutter control.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "records/TSHUTTER.h"

namespace {
// A literal with its embedded NULs.
template <std::size_t N>
std::string Bytes(const char (&s)[N]) {
    return std::string(s, N - 1);
}

std::vector<int> Fields(const TShutter& s) {
    return {s.GetType(), s.GetMode(), s.GetCustomBgMode(), s.GetCustomMode()};
}
}  // namespace

TEST(Shutter, ReaderVersionsAndWriterBytes) {
    std::istringstream v12(Bytes("65538 \x01 \x03 \x02 \x00 1.5 2.5X"));
    TShutter s;
    v12 >> s;
    EXPECT_EQ(Fields(s), std::vector<int>({1, 3, 2, 0}));
    EXPECT_FLOAT_EQ(s.GetClosingTime(), 1.5f);
    EXPECT_FLOAT_EQ(s.GetOpeningTime(), 2.5f);
    EXPECT_EQ(v12.get(), 'X');

    // 1.1, 1.3 and 2.2 copy the closing time and leave the next number unread.
    for (const char* v : {"65537", "65539", "131074"}) {
        std::istringstream is(v + Bytes(" \x05 \x04 \x03 \x02 1.5 2.5"));
        TShutter t;
        is >> t;
        EXPECT_EQ(Fields(t), std::vector<int>({5, 4, 3, 2})) << v;
        EXPECT_FLOAT_EQ(t.GetOpeningTime(), 1.5f) << v;
        EXPECT_EQ(is.get(), ' ') << v;
    }

    // A whitespace value byte is skipped and the fields shift: '1' of "1.5" becomes a mode.
    std::istringstream tab(Bytes("65538 \t \x01 \x02 \x03 1.5 2.5"));
    tab >> s;
    EXPECT_EQ(Fields(s), std::vector<int>({1, 2, 3, '1'}));
    EXPECT_FLOAT_EQ(s.GetClosingTime(), 0.5f);

    // Written back, the typed 1.2 record comes out byte for byte.
    std::istringstream typed(Bytes("65538 \x04 \x03 \x05 \x06 0.5 0.25"));
    typed >> s;
    std::ostringstream os;
    os << s;
    EXPECT_EQ(os.str(), typed.str());
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

    s.SetMode(1);
    s.SetDynamicShutterControl(false);  // a fixed mode stays
    EXPECT_EQ(s.GetMode(), 1);
    s.SetDynamicShutterControl(true);
    EXPECT_EQ(s.GetMode(), 1);
}
