// Geometry value types in 1-based unbinned detector pixels, rows growing upward,
// bounds inclusive.
#ifndef KVMCF_IMAGE_LONGRECT_H
#define KVMCF_IMAGE_LONGRECT_H

#include <istream>
#include <ostream>

int Max(int a, int b);
int Min(int a, int b);

struct tagKAVRIRECT {
    int left = 0;
    int top = 0;
    int right = 0;
    int bottom = 0;
};

class TKavriRect : public tagKAVRIRECT {
public:
    TKavriRect() = default;
    TKavriRect(int l, int t, int r, int b) { Set(l, t, r, b); }
    TKavriRect(const TKavriRect& other) = default;
    TKavriRect& operator=(const TKavriRect& other) = default;

    int Left() const { return left; }
    int Right() const { return right; }
    // A plain difference: columns 1..1024 give 1023. Callers rely on it.
    int Width() const { return right - left; }
    bool IsNull() const { return left == 0 && top == 0 && right == 0 && bottom == 0; }
    void Set(int l, int t, int r, int b);
    // Second field ends up holding the smaller row, the reverse of a sub-image.
    TKavriRect Normalized() const;
};

struct tagKAVRIPOINT {
    int x = 0;
    int y = 0;
};

class TKavriPoint : public tagKAVRIPOINT {
public:
    TKavriPoint() = default;
    TKavriPoint(int px, int py) {
        x = px;
        y = py;
    }
};

// The form in which a rectangle is streamed.
struct LONG_RECT {
    int left = 0;
    int top = 0;
    int right = 0;
    int bottom = 0;

    bool operator==(const LONG_RECT& other) const {
        return left == other.left && top == other.top && right == other.right && bottom == other.bottom;
    }
    bool operator!=(const LONG_RECT& other) const { return !(*this == other); }
};

std::istream& operator>>(std::istream& is, LONG_RECT& rect);
std::ostream& operator<<(std::ostream& os, const LONG_RECT& rect);

#endif
