// Text, number, path and clock helpers used across the library. Every function is
// static; the names follow the C library where the behaviour does, and the outputs
// are bounded wherever the caller says how much room there is.
#ifndef KVMCF_UTIL_KAVRIMISC_H
#define KVMCF_UTIL_KAVRIMISC_H

#include <sys/time.h>

#include <cstdarg>
#include <cstddef>
#include <cstdio>

namespace KavriUtility {

// A broken-down local time. wMonth counts from 0, as the C library's broken-down
// time does; stored files and callers depend on it.
struct SYSTEMTIME {
    unsigned short wYear;
    unsigned short wMonth;
    unsigned short wDayOfWeek;
    unsigned short wDay;
    unsigned short wHour;
    unsigned short wMinute;
    unsigned short wSecond;
    unsigned short wMilliseconds;
};

class TKavriMisc {
public:
    // Room fnSplit1 and fnsplit assume in each output, NUL included. Longer parts
    // are cut to fit.
    static constexpr std::size_t MaxDrive = 3;
    static constexpr std::size_t MaxDir = 256;
    static constexpr std::size_t MaxDirPath = MaxDrive - 1 + MaxDir;
    static constexpr std::size_t MaxFile = 256;
    static constexpr std::size_t MaxExt = 256;

    // fnSplit1 result flags.
    static constexpr int SplitExtension = 1;
    static constexpr int SplitFileName = 2;
    static constexpr int SplitDirectory = 4;
    static constexpr int SplitDrive = 8;
    static constexpr int SplitWildName = 16;
    static constexpr int SplitWildDir = 32;

    // Text, as the C functions of the same names. A null dst or src leaves dst
    // untouched.
    static char* strcpy(char* dst, const char* src);
    static char* strncpy(char* dst, const char* src, std::size_t n);
    static char* strcat(char* dst, const char* src);
    static char* strncat(char* dst, const char* src, std::size_t n);
    static wchar_t* wcscpy(wchar_t* dst, const wchar_t* src);
    static wchar_t* wcsncpy(wchar_t* dst, const wchar_t* src, std::size_t n);
    static wchar_t* wcscat(wchar_t* dst, const wchar_t* src);
    static wchar_t* wcsncat(wchar_t* dst, const wchar_t* src, std::size_t n);

    // The library's text form is the multibyte form, so these copy bytes. n is the
    // room in dst: at most n - 1 bytes and a NUL; n = 0 writes nothing. Returns the
    // number of bytes copied.
    static std::size_t tcstombs(char* dst, const char* src, std::size_t n);
    static std::size_t mbstotcs(char* dst, const char* src, std::size_t n);

    // Bounded formatting that also takes "%I64u"/"%I64d"/"%I64x" (64-bit) and
    // "%I32…" conversions. The result is always terminated when n > 0.
    static int snprintf(char* buf, std::size_t n, const char* format, ...);
    static int _snprintf(char* buf, std::size_t n, const char* format, ...);
    static int vsnprintf(char* buf, std::size_t n, const char* format, va_list args);
    static int snwprintf(wchar_t* buf, std::size_t n, const wchar_t* format, ...);

    static int stricmp(const char* a, const char* b);
    static char* ReverseString(char* s);

    // Decimal digits of value into buf (at most size - 1, the leading ones). 0 gives
    // an empty text, which callers rely on.
    static char* UI64ToString(unsigned long long value, char* buf, std::size_t size);
    // Leading white space, then digits up to the first non-digit or the digit that
    // would overflow; the value so far.
    static unsigned long long StringToUI64(const char* text);
    static char* gcvt(double value, int digits, char* buf);

    static bool has_wild(const char* text);
    // Splits path into its parts (see the flags above); any output may be null.
    static int fnSplit1(const char* path, char* drive, char* dirPath, char* dir, char* name, char* fileName,
                        char* ext);
    // The short form: name receives the whole file name, extension included.
    static int fnsplit(const char* path, char* drive, char* dir, char* name, char* ext);

    // Files and folders; results as the platform calls give them (0 on success).
    // The FILE** form exists for callers holding a pointer to their handle.
    static int fopen(FILE*& file, const char* path, const char* mode);
    static int fopen(FILE** file, const char* path, const char* mode);
    static int MakeDir(const char* path);
    static int RemoveDir(const char* path);
    static int RemoveFile(const char* path);
    // Removes the files in dir whose names match pattern ("*" and "?"); the number
    // removed, or -1 when dir cannot be listed.
    static int RemoveFiles(const char* dir, const char* pattern);

    // Time and processes.
    static void Sleep(unsigned int ms);
    // Sleeps in 1 ms steps until the clock has moved on by ms whole milliseconds.
    static void TimedSleep(unsigned int ms);
    static int GetPID();
    static unsigned long GetThreadID();
    static timeval getSystemTime();
    static SYSTEMTIME TimeValToSYSTEMTIME(const timeval& time);
    static unsigned int GetCurrentMilliseconds();
    static timeval getSystemTimeOffset(const timeval& time, long long offsetUs);

    // Round half to even through the 1.5 * 2^52 trick.
    static int FastDoubleToKavri32(double x);
};

}  // namespace KavriUtility

#endif
