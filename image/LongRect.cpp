#include "image/LongRect.h"

#include "records/RecordStream.h"

int Max(int a, int b) { return a > b ? a : b; }
int Min(int a, int b) { return a < b ? a : b; }

void TKavriRect::Set(int l, int t, int r, int b) {
    left = l;
    top = t;
    right = r;
    bottom = b;
}

TKavriRect TKavriRect::Normalized() const {
    return TKavriRect(Min(left, right), Min(top, bottom), Max(left, right), Max(top, bottom));
}

std::istream& operator>>(std::istream& is, LONG_RECT& rect) {
    RecordStream::Read(is, rect.left);
    RecordStream::Read(is, rect.top);
    RecordStream::Read(is, rect.right);
    RecordStream::Read(is, rect.bottom);
    return is;
}

std::ostream& operator<<(std::ostream& os, const LONG_RECT& rect) {
    return os << rect.left << ' ' << rect.top << ' ' << rect.right << ' ' << rect.bottom;
}
