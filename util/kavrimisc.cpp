#include "util/kavrimisc.h"

#include <dirent.h>
#include <fnmatch.h>
#include <strings.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <ctime>
#include <string>

namespace KavriUtility {

namespace {

template <class C>
bool IsConversionFlag(C c) {
    switch (c) {
        case '-': case '+': case ' ': case '#': case '.': case '*':
        case '0': case '1': case '2': case '3': case '4':
        case '5': case '6': case '7': case '8': case '9':
            return true;
        default:
            return false;
    }
}

// Rewrites the size prefixes "I64" to "ll" and drops "I32" so the C library can
// print the format. The result is never longer than the format.
template <class C>
std::basic_string<C> TranslateFormat(const C* format) {
    std::basic_string<C> out;
    const C* p = format;
    while (*p) {
        if (*p != '%') {
            out += *p++;
            continue;
        }
        out += *p++;
        if (*p == '%') {
            out += *p++;
            continue;
        }
        while (*p && IsConversionFlag(*p)) out += *p++;
        if (p[0] == 'I' && p[1] == '6' && p[2] == '4') {
            out += C('l');
            out += C('l');
            p += 3;
        } else if (p[0] == 'I' && p[1] == '3' && p[2] == '2') {
            p += 3;
        }
    }
    return out;
}

// Copies src into dst of the given room, cut to fit and terminated.
void Put(char* dst, const std::string& src, std::size_t room) {
    if (!dst || room == 0) return;
    const std::size_t n = src.size() < room - 1 ? src.size() : room - 1;
    std::memcpy(dst, src.data(), n);
    dst[n] = '\0';
}

unsigned long long WholeMilliseconds(const timeval& t) {
    return static_cast<unsigned long long>(t.tv_sec) * 1000ull + static_cast<unsigned long long>(t.tv_usec) / 1000ull;
}

}  // namespace

char* TKavriMisc::strcpy(char* dst, const char* src) {
    if (!dst || !src) return dst;
    return ::strcpy(dst, src);
}

char* TKavriMisc::strncpy(char* dst, const char* src, std::size_t n) {
    if (!dst || !src) return dst;
    return ::strncpy(dst, src, n);
}

char* TKavriMisc::strcat(char* dst, const char* src) {
    if (!dst || !src) return dst;
    return ::strcat(dst, src);
}

char* TKavriMisc::strncat(char* dst, const char* src, std::size_t n) {
    if (!dst || !src) return dst;
    return ::strncat(dst, src, n);
}

wchar_t* TKavriMisc::wcscpy(wchar_t* dst, const wchar_t* src) {
    if (!dst || !src) return dst;
    return std::wcscpy(dst, src);
}

wchar_t* TKavriMisc::wcsncpy(wchar_t* dst, const wchar_t* src, std::size_t n) {
    if (!dst || !src) return dst;
    return std::wcsncpy(dst, src, n);
}

wchar_t* TKavriMisc::wcscat(wchar_t* dst, const wchar_t* src) {
    if (!dst || !src) return dst;
    return std::wcscat(dst, src);
}

wchar_t* TKavriMisc::wcsncat(wchar_t* dst, const wchar_t* src, std::size_t n) {
    if (!dst || !src) return dst;
    return std::wcsncat(dst, src, n);
}

std::size_t TKavriMisc::tcstombs(char* dst, const char* src, std::size_t n) {
    if (!dst || n == 0) return 0;
    const std::string text = src ? src : "";
    Put(dst, text, n);
    return std::strlen(dst);
}

std::size_t TKavriMisc::mbstotcs(char* dst, const char* src, std::size_t n) {
    return tcstombs(dst, src, n);
}

int TKavriMisc::vsnprintf(char* buf, std::size_t n, const char* format, va_list args) {
    if (!buf) n = 0;
    if (!format) {
        if (n > 0) buf[0] = '\0';
        return -1;
    }
    const std::string translated = TranslateFormat(format);
    return std::vsnprintf(n > 0 ? buf : nullptr, n, translated.c_str(), args);
}

int TKavriMisc::snprintf(char* buf, std::size_t n, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int r = vsnprintf(buf, n, format, args);
    va_end(args);
    return r;
}

int TKavriMisc::_snprintf(char* buf, std::size_t n, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int r = vsnprintf(buf, n, format, args);
    va_end(args);
    return r;
}

int TKavriMisc::snwprintf(wchar_t* buf, std::size_t n, const wchar_t* format, ...) {
    if (!buf || n == 0) return -1;
    buf[0] = L'\0';
    if (!format) return -1;
    const std::wstring translated = TranslateFormat(format);
    va_list args;
    va_start(args, format);
    const int r = std::vswprintf(buf, n, translated.c_str(), args);
    va_end(args);
    // A wide format that does not fit may leave the buffer unterminated; keep it a text.
    buf[n - 1] = L'\0';
    return r;
}

int TKavriMisc::stricmp(const char* a, const char* b) {
    if (!a || !b) return (a ? 1 : 0) - (b ? 1 : 0);
    return ::strcasecmp(a, b);
}

char* TKavriMisc::ReverseString(char* s) {
    if (!s) return s;
    std::size_t i = 0;
    std::size_t j = std::strlen(s);
    while (j > i + 1) {
        --j;
        const char c = s[i];
        s[i] = s[j];
        s[j] = c;
        ++i;
    }
    return s;
}

char* TKavriMisc::UI64ToString(unsigned long long value, char* buf, std::size_t size) {
    if (!buf) return buf;
    std::memset(buf, 0, size);
    if (size == 0) return buf;
    char scratch[24] = {};  // 20 digits at most
    std::size_t len = 0;
    while (value > 0) {
        scratch[len++] = static_cast<char>('0' + value % 10);
        value /= 10;
    }
    scratch[len] = '\0';
    ReverseString(scratch);
    Put(buf, scratch, size);
    return buf;
}

unsigned long long TKavriMisc::StringToUI64(const char* text) {
    if (!text) return 0;
    const unsigned long long max = ~0ull;
    unsigned long long value = 0;
    const unsigned char* p = reinterpret_cast<const unsigned char*>(text);
    while (std::isspace(*p)) ++p;
    for (; *p >= '0' && *p <= '9'; ++p) {
        const unsigned int digit = *p - '0';
        if (value > (max - digit) / 10) break;
        value = value * 10 + digit;
    }
    return value;
}

char* TKavriMisc::gcvt(double value, int digits, char* buf) {
    if (!buf) return buf;
    return ::gcvt(value, digits, buf);
}

bool TKavriMisc::has_wild(const char* text) {
    if (!text) return false;
    return std::strchr(text, '*') != nullptr || std::strchr(text, '?') != nullptr;
}

int TKavriMisc::fnSplit1(const char* path, char* drive, char* dirPath, char* dir, char* name, char* fileName,
                         char* ext) {
    const std::string work = path ? path : "";
    int flags = 0;

    std::string driveText;
    std::size_t start = 0;
    if (work.size() >= 2 && work[1] == ':') {
        driveText = work.substr(0, 2);
        start = 2;
        flags |= SplitDrive;
    }
    Put(drive, driveText, MaxDrive);
    const std::string rest = work.substr(start);

    std::string fileText;
    const std::size_t slash = rest.rfind('/');
    if (slash != std::string::npos) {
        const std::string dirText = rest.substr(0, slash + 1);
        Put(dir, dirText, MaxDir);
        Put(dirPath, driveText + dirText, MaxDirPath);
        flags |= SplitDirectory;
        if (has_wild(dirText.c_str())) flags |= SplitWildDir;
        fileText = rest.substr(slash + 1);
    } else if (!rest.empty() && rest[0] == '.') {
        // "." and ".." name folders, not files.
        const std::string dots = rest.substr(0, rest.find_first_not_of('.')) + "/";
        Put(dir, dots, MaxDir);
        Put(dirPath, driveText + dots, MaxDirPath);
        Put(fileName, "", MaxFile);
        Put(name, "", MaxFile);
        Put(ext, "", MaxExt);
        return flags | SplitDirectory;
    } else {
        Put(dir, "", MaxDir);
        Put(dirPath, driveText, MaxDirPath);
        fileText = rest;
    }

    Put(fileName, fileText, MaxFile);
    if (has_wild(fileText.c_str())) flags |= SplitWildName;
    if (!fileText.empty()) flags |= SplitFileName;
    const std::size_t dot = fileText.rfind('.');
    if (dot != std::string::npos) {
        Put(name, fileText.substr(0, dot), MaxFile);
        Put(ext, fileText.substr(dot), MaxExt);
        flags |= SplitExtension;
    } else {
        Put(name, fileText, MaxFile);
        Put(ext, "", MaxExt);
    }
    return flags;
}

int TKavriMisc::fnsplit(const char* path, char* drive, char* dir, char* name, char* ext) {
    return fnSplit1(path, drive, nullptr, dir, nullptr, name, ext);
}

int TKavriMisc::fopen(FILE*& file, const char* path, const char* mode) {
    file = (path && mode) ? std::fopen(path, mode) : nullptr;
    return file ? 0 : (errno ? errno : EINVAL);
}

int TKavriMisc::fopen(FILE** file, const char* path, const char* mode) {
    if (!file) return EINVAL;
    return fopen(*file, path, mode);
}

int TKavriMisc::MakeDir(const char* path) { return path ? ::mkdir(path, 0777) : -1; }

int TKavriMisc::RemoveDir(const char* path) { return path ? ::rmdir(path) : -1; }

int TKavriMisc::RemoveFile(const char* path) { return path ? std::remove(path) : -1; }

int TKavriMisc::RemoveFiles(const char* dir, const char* pattern) {
    if (!dir || !pattern) return -1;
    DIR* d = ::opendir(dir);
    if (!d) return -1;
    int removed = 0;
    while (const dirent* entry = ::readdir(d)) {
        if (::fnmatch(pattern, entry->d_name, 0) != 0) continue;
        const std::string full = std::string(dir) + "/" + entry->d_name;
        struct stat st;
        if (::stat(full.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) continue;
        if (::unlink(full.c_str()) == 0) ++removed;
    }
    ::closedir(d);
    return removed;
}

void TKavriMisc::Sleep(unsigned int ms) {
    timespec ts;
    ts.tv_sec = ms / 1000;
    ts.tv_nsec = static_cast<long>(ms % 1000) * 1000000L;
    while (::nanosleep(&ts, &ts) != 0 && errno == EINTR) {
    }
}

void TKavriMisc::TimedSleep(unsigned int ms) {
    const unsigned long long start = WholeMilliseconds(getSystemTime());
    unsigned long long now = start;
    while (now - start < ms) {
        Sleep(1);
        now = WholeMilliseconds(getSystemTime());
        if (now < start) break;  // the clock was set back
    }
}

int TKavriMisc::GetPID() { return static_cast<int>(::getpid()); }

unsigned long TKavriMisc::GetThreadID() { return static_cast<unsigned long>(::syscall(SYS_gettid)); }

timeval TKavriMisc::getSystemTime() {
    timeval t;
    ::gettimeofday(&t, nullptr);
    return t;
}

SYSTEMTIME TKavriMisc::TimeValToSYSTEMTIME(const timeval& time) {
    SYSTEMTIME st = {};
    const time_t seconds = time.tv_sec;
    struct tm local;
    if (!::localtime_r(&seconds, &local)) return st;
    st.wYear = static_cast<unsigned short>(local.tm_year + 1900);
    st.wMonth = static_cast<unsigned short>(local.tm_mon);
    st.wDayOfWeek = static_cast<unsigned short>(local.tm_wday);
    st.wDay = static_cast<unsigned short>(local.tm_mday);
    st.wHour = static_cast<unsigned short>(local.tm_hour);
    st.wMinute = static_cast<unsigned short>(local.tm_min);
    st.wSecond = static_cast<unsigned short>(local.tm_sec);
    st.wMilliseconds = static_cast<unsigned short>(time.tv_usec / 1000);
    return st;
}

unsigned int TKavriMisc::GetCurrentMilliseconds() {
    return static_cast<unsigned int>(getSystemTime().tv_usec / 1000);
}

timeval TKavriMisc::getSystemTimeOffset(const timeval& time, long long offsetUs) {
    long long us = static_cast<long long>(time.tv_usec) + offsetUs % 1000000;
    long long s = static_cast<long long>(time.tv_sec) + offsetUs / 1000000;
    if (us < 0) {
        us += 1000000;
        --s;
    } else if (us >= 1000000) {
        us -= 1000000;
        ++s;
    }
    timeval t;
    t.tv_sec = static_cast<time_t>(s);
    t.tv_usec = static_cast<suseconds_t>(us);
    return t;
}

int TKavriMisc::FastDoubleToKavri32(double x) {
    const double shifted = x + 6755399441055744.0;
    unsigned long long bits = 0;
    std::memcpy(&bits, &shifted, sizeof bits);
    return static_cast<int>(static_cast<unsigned int>(bits & 0xFFFFFFFFu));
}

}  // namespace KavriUtility
