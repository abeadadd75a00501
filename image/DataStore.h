// Typed pixel stores. Whatever a store holds, consumers see 32-bit floats through
// the conversions below; there is no clamping anywhere, wrap-around is intended.
#ifndef KVMCF_IMAGE_DATASTORE_H
#define KVMCF_IMAGE_DATASTORE_H

#include <cstdint>

#include "image/LongRect.h"
#include "image/SubImage.h"

namespace PixelConvert {

// Truncates toward zero; anything outside the signed 32-bit range (NaN too) gives
// the lowest int, as the processor's own conversion does.
inline std::int32_t FloatToInt(float v) {
    if (!(v >= -2147483648.0f && v < 2147483648.0f)) return INT32_MIN;
    return static_cast<std::int32_t>(v);
}

template <class To, class From>
inline To Convert(From v);

template <> inline float Convert<float, float>(float v) { return v; }
template <> inline float Convert<float, std::uint16_t>(std::uint16_t v) { return v; }
template <> inline float Convert<float, std::int32_t>(std::int32_t v) { return static_cast<float>(v); }
template <> inline std::int32_t Convert<std::int32_t, std::int32_t>(std::int32_t v) { return v; }
template <> inline std::int32_t Convert<std::int32_t, std::uint16_t>(std::uint16_t v) { return v; }
template <> inline std::int32_t Convert<std::int32_t, float>(float v) { return FloatToInt(v); }
template <> inline std::uint16_t Convert<std::uint16_t, std::uint16_t>(std::uint16_t v) { return v; }
// Low 16 bits kept: -1 gives 65535, 70000 gives 4464.
template <> inline std::uint16_t Convert<std::uint16_t, std::int32_t>(std::int32_t v) {
    return static_cast<std::uint16_t>(static_cast<std::uint32_t>(v) & 0xFFFFu);
}
template <> inline std::uint16_t Convert<std::uint16_t, float>(float v) {
    return Convert<std::uint16_t, std::int32_t>(FloatToInt(v));
}

}  // namespace PixelConvert

class DataStore {
public:
    enum ePixelDataType { UnsignedShort = 0, Int32 = 1, Float = 2 };

    virtual ~DataStore() = default;
    virtual DataStore* Clone() const = 0;
    virtual void Zero() = 0;
    virtual void* Get() = 0;
    virtual void SetDataAsFloat(const float* values) = 0;
    virtual void SetDataAsUnsignedShort(const unsigned short* values) = 0;
    virtual void SetDataAsInt(const int* values) = 0;
    // Element access out of range reads 0 and writes nothing.
    virtual float GetAsFloat(unsigned long index) const = 0;
    virtual void SetAsFloat(unsigned long index, float value) = 0;
    virtual void CopyToFloatArray(float* out) const = 0;
    virtual unsigned short GetAsUnsignedShort(unsigned long index) const = 0;
    virtual void SetAsUnsignedShort(unsigned long index, unsigned short value) = 0;
    virtual int GetAsInt(unsigned long index) const = 0;
    virtual void SetAsInt(unsigned long index, int value) = 0;
    // Extreme over a region (rows in the second and fourth fields, ascending) of the
    // frame starting at `start` inside the store; `where` gets the position of each
    // strict improvement, so ties keep the first one in scan order.
    virtual float GetMinimum(TKavriRect region, unsigned int start, TSubImage& sub, TKavriPoint* where) const = 0;
    virtual float GetMaximum(TKavriRect region, unsigned int start, TSubImage& sub, TKavriPoint* where) const = 0;

    ePixelDataType GetType() const { return type; }
    unsigned long GetCount() const { return count; }

    // Null for a type outside the three known ones.
    static DataStore* CreateDataStore(ePixelDataType type, unsigned long count);
    static DataStore* CloneToFloat(const DataStore* store);
    // Offset of a detector point inside a sub-image's stored pixels, rows from the
    // bottom, columns from the left. The point is not checked against the sub-image.
    static unsigned int PointOffset(TKavriPoint point, const TSubImage& sub);

    template <class In, class Out>
    static Out* Copy(const In* begin, const In* end, Out* out) {
        for (; begin != end; ++begin, ++out) *out = PixelConvert::Convert<Out, In>(*begin);
        return out;
    }

protected:
    DataStore(ePixelDataType t, unsigned long n) : type(t), count(n) {}

private:
    ePixelDataType type;
    unsigned long count;
};

template <class T, DataStore::ePixelDataType Type>
class TypedDataStore : public DataStore {
public:
    explicit TypedDataStore(unsigned long n) : DataStore(Type, n), data(new T[n]) {}
    ~TypedDataStore() override { delete[] data; }
    TypedDataStore(const TypedDataStore&) = delete;
    TypedDataStore& operator=(const TypedDataStore&) = delete;

    DataStore* Clone() const override {
        auto* copy = new TypedDataStore(GetCount());
        Copy(data, data + GetCount(), copy->data);
        return copy;
    }
    void Zero() override {
        for (unsigned long i = 0; i < GetCount(); ++i) data[i] = T(0);
    }
    void* Get() override { return data; }
    void SetDataAsFloat(const float* values) override { Copy(values, values + GetCount(), data); }
    void SetDataAsUnsignedShort(const unsigned short* values) override {
        Copy(reinterpret_cast<const std::uint16_t*>(values), reinterpret_cast<const std::uint16_t*>(values) + GetCount(), data);
    }
    void SetDataAsInt(const int* values) override {
        Copy(reinterpret_cast<const std::int32_t*>(values), reinterpret_cast<const std::int32_t*>(values) + GetCount(), data);
    }
    float GetAsFloat(unsigned long i) const override { return i < GetCount() ? PixelConvert::Convert<float, T>(data[i]) : 0.0f; }
    void SetAsFloat(unsigned long i, float v) override {
        if (i < GetCount()) data[i] = PixelConvert::Convert<T, float>(v);
    }
    void CopyToFloatArray(float* out) const override { Copy(data, data + GetCount(), out); }
    unsigned short GetAsUnsignedShort(unsigned long i) const override {
        return i < GetCount() ? PixelConvert::Convert<std::uint16_t, T>(data[i]) : 0;
    }
    void SetAsUnsignedShort(unsigned long i, unsigned short v) override {
        if (i < GetCount()) data[i] = PixelConvert::Convert<T, std::uint16_t>(v);
    }
    int GetAsInt(unsigned long i) const override { return i < GetCount() ? PixelConvert::Convert<std::int32_t, T>(data[i]) : 0; }
    void SetAsInt(unsigned long i, int v) override {
        if (i < GetCount()) data[i] = PixelConvert::Convert<T, std::int32_t>(v);
    }
    float GetMinimum(TKavriRect region, unsigned int start, TSubImage& sub, TKavriPoint* where) const override;
    float GetMaximum(TKavriRect region, unsigned int start, TSubImage& sub, TKavriPoint* where) const override;

private:
    T* data;
};

using DataStoreUnsignedShort = TypedDataStore<std::uint16_t, DataStore::UnsignedShort>;
using DataStoreInt32 = TypedDataStore<std::int32_t, DataStore::Int32>;
using DataStoreFloat = TypedDataStore<float, DataStore::Float>;

#endif
