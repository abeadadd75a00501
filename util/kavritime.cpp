#include "util/kavritime.h"

#include "util/kavrimisc.h"

void TKavriTime::GetCurrentSystemTime(TKavriTime& time) {
    const timeval now = KavriUtility::TKavriMisc::getSystemTime();
    time.microseconds =
        static_cast<unsigned long long>(now.tv_sec) * 1000000ull + static_cast<unsigned long long>(now.tv_usec);
}
