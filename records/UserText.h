// Free text the user attached to an acquisition: up to 2048 bytes, always
// NUL-terminated in memory.
#ifndef KVMCF_RECORDS_USERTEXT_H
#define KVMCF_RECORDS_USERTEXT_H

#include <istream>
#include <ostream>

class TUserText {
public:
    static constexpr unsigned int kCapacity = 2048;
    static constexpr unsigned int kVersionWritten = 65538;  // 1.2

    TUserText() { ClearText(); }
    TUserText(const char* text, unsigned int n) { SetText(text, n); }
    TUserText(const TUserText& other);
    TUserText& operator=(const TUserText& other);

    int ClearText();
    // Appends up to n bytes while room is left; returns the count appended. The
    // length then follows the C string, so an embedded NUL shortens the text.
    unsigned int AddText(const char* text, unsigned int n);
    unsigned int SetText(const char* text, unsigned int n);
    // Copies at most capacity bytes including the terminating NUL; returns that count.
    unsigned int GetText(char* dst, unsigned int capacity) const;
    unsigned int GetLength() const { return Length; }
    const char* GetBuffer() const { return Buffer; }

    friend std::istream& operator>>(std::istream& is, TUserText& t);
    friend std::ostream& operator<<(std::ostream& os, TUserText& t);

private:
    char Buffer[kCapacity + 1];
    unsigned int Length;
};

#endif
