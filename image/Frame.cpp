#include "image/Frame.h"

Frame::Frame(DataStore::ePixelDataType type, unsigned int pixels, bool zero)
    : primary(DataStore::CreateDataStore(type, pixels)) {
    if (zero && primary) primary->Zero();
}

Frame::Frame(const Frame& other) : primary(other.primary ? other.primary->Clone() : nullptr) {}

// Only the primary store is replaced; a float copy handed out earlier stays valid.
Frame& Frame::operator=(const Frame& other) {
    if (this == &other) return *this;
    DataStore* copy = other.primary ? other.primary->Clone() : nullptr;
    delete primary;
    primary = copy;
    return *this;
}

Frame::~Frame() {
    delete primary;
    delete floatCopy;
}

float* Frame::GetWriteBuffer() {
    if (!primary) return nullptr;
    if (primary->GetType() != DataStore::Float) {
        // Adopting an existing float copy saves converting a second time.
        DataStore* floatStore = floatCopy ? floatCopy : DataStore::CloneToFloat(primary);
        floatCopy = nullptr;
        readCount = 0;
        delete primary;
        primary = floatStore;
    }
    return static_cast<float*>(primary->Get());
}

float* Frame::GetReadBuffer() {
    if (!primary) return nullptr;
    if (primary->GetType() == DataStore::Float) return static_cast<float*>(primary->Get());
    if (!floatCopy) floatCopy = DataStore::CloneToFloat(primary);
    ++readCount;
    return static_cast<float*>(floatCopy->Get());
}

void Frame::ReleaseReadBuffer() {
    if (!floatCopy) {
        readCount = 0;
        return;
    }
    if (readCount > 0) --readCount;
    if (readCount == 0) {
        delete floatCopy;
        floatCopy = nullptr;
    }
}
