#include "image/DataStore.h"

#include <cfloat>
#include <climits>

namespace {

// What a store compares in and where each running extreme starts. The float
// maximum starts at the smallest normal float, not at the lowest one: over an
// all-zero or negative region it returns that value and reports no position.
template <class T> struct ExtremeRules;
template <> struct ExtremeRules<float> {
    using Compare = float;
    static constexpr float kMinStart = FLT_MAX;
    static constexpr float kMaxStart = FLT_MIN;
};
template <> struct ExtremeRules<std::int32_t> {
    using Compare = std::int32_t;
    static constexpr std::int32_t kMinStart = INT32_MAX;
    static constexpr std::int32_t kMaxStart = INT32_MIN;
};
template <> struct ExtremeRules<std::uint16_t> {
    using Compare = float;
    static constexpr float kMinStart = 65535.0f;
    static constexpr float kMaxStart = 0.0f;
};

// Walks the region rows upward and columns rightward, one stored pixel per binning
// step. Elements that fall outside the store are skipped.
template <class T, class Better>
float RegionExtreme(const T* data, unsigned long count, const TKavriRect& region, unsigned int start,
                    const TSubImage& sub, TKavriPoint* where, typename ExtremeRules<T>::Compare running,
                    Better better) {
    using C = typename ExtremeRules<T>::Compare;
    for (long long y = region.top; y <= region.bottom; y += sub.VBinStep()) {
        unsigned long index =
            static_cast<unsigned long>(start) + DataStore::PointOffset(TKavriPoint(region.left, static_cast<int>(y)), sub);
        for (long long x = region.left; x <= region.right; x += sub.HBinStep(), ++index) {
            if (index >= count) break;  // the rest of the row lies beyond too
            const C value = static_cast<C>(data[index]);
            if (better(value, running)) {
                running = value;
                if (where) *where = TKavriPoint(static_cast<int>(x), static_cast<int>(y));
            }
        }
    }
    return static_cast<float>(running);
}

}  // namespace

template <class T, DataStore::ePixelDataType Type>
float TypedDataStore<T, Type>::GetMinimum(TKavriRect region, unsigned int start, TSubImage& sub,
                                          TKavriPoint* where) const {
    using C = typename ExtremeRules<T>::Compare;
    return RegionExtreme(data, GetCount(), region, start, sub, where, ExtremeRules<T>::kMinStart,
                         [](C v, C best) { return v < best; });
}

template <class T, DataStore::ePixelDataType Type>
float TypedDataStore<T, Type>::GetMaximum(TKavriRect region, unsigned int start, TSubImage& sub,
                                          TKavriPoint* where) const {
    using C = typename ExtremeRules<T>::Compare;
    return RegionExtreme(data, GetCount(), region, start, sub, where, ExtremeRules<T>::kMaxStart,
                         [](C v, C best) { return v > best; });
}

template class TypedDataStore<std::uint16_t, DataStore::UnsignedShort>;
template class TypedDataStore<std::int32_t, DataStore::Int32>;
template class TypedDataStore<float, DataStore::Float>;

DataStore* DataStore::CreateDataStore(ePixelDataType type, unsigned long count) {
    switch (type) {
        case UnsignedShort: return new DataStoreUnsignedShort(count);
        case Int32: return new DataStoreInt32(count);
        case Float: return new DataStoreFloat(count);
    }
    return nullptr;
}

DataStore* DataStore::CloneToFloat(const DataStore* store) {
    if (!store) return nullptr;
    auto* copy = new DataStoreFloat(store->GetCount());
    store->CopyToFloatArray(static_cast<float*>(copy->Get()));
    return copy;
}

unsigned int DataStore::PointOffset(TKavriPoint point, const TSubImage& sub) {
    // Signed, truncating division; 64-bit so corrupt coordinates cannot overflow.
    const long long column = (static_cast<long long>(point.x) - sub.left) / sub.HBinStep();
    const long long row = (static_cast<long long>(point.y) - sub.bottom) / sub.VBinStep();
    const long long rowLength = (static_cast<long long>(sub.right) - sub.left + 1) / sub.HBinStep();
    // Unsigned arithmetic wraps where corrupt geometry would overflow a signed product.
    return static_cast<unsigned int>(static_cast<unsigned long long>(row) * static_cast<unsigned long long>(rowLength) +
                                     static_cast<unsigned long long>(column));
}
