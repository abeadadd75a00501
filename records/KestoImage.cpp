#include "records/KestoImage.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "metadata/mcfdataxml.h"

namespace {

// Header models whose gate timing gives the kinetic times.
const char kModelPicoseconds[] = "QM4";  // auxiliary settings in picoseconds
const char kModelSeconds[] = "QM9";      // auxiliary settings in seconds
const char kModelIntensifier[] = "QM7";  // intensifier gate and delay step

const unsigned char kModeKinetic = 3;
const unsigned char kModeSingle = 5;
const int kOperationGateStep = 5;
// Trigger sources under which frames follow the kinetic cycle time.
bool TriggerIsTimed(unsigned char source) { return source == 0 || source == 6; }

// Read patterns derived from the geometry.
const unsigned char kPatternFullVerticalBinning = 0;
const unsigned char kPatternMultiTrack = 1;
const unsigned char kPatternRandomTrack = 2;
const unsigned char kPatternSingleTrack = 3;
const unsigned char kPatternImage = 4;

// Bytes CopyMostofHeader takes of the header texts.
const std::size_t kHeadModelCopied = 256;
const std::size_t kPreAmpGainTextCopied = 270;

const char kCopiedLabel[] = "User Type";

void CopyTextPrefix(char* dest, std::size_t capacity, const char* src, std::size_t count) {
    std::size_t n = 0;
    while (n < count && n + 1 < capacity && src[n] != '\0') ++n;
    std::memcpy(dest, src, n);
    dest[n] = '\0';
}

// Truncation toward zero into the unsigned range; NaN and negatives give 0.
unsigned int TruncateToUnsigned(float value) {
    if (!(value > 0.0f)) return 0;
    if (value >= 4294967296.0f) return UINT_MAX;
    return static_cast<unsigned int>(value);
}

int TruncateToInt(double value) {
    if (!(value > INT_MIN)) return INT_MIN;
    if (!(value < INT_MAX)) return INT_MAX;
    return static_cast<int>(value);
}

// a - b + 1 for coordinates: wraps instead of overflowing on a damaged file.
int Span(int a, int b) {
    return static_cast<int>(static_cast<std::uint32_t>(static_cast<long long>(a) - b + 1));
}

// Stored rows of a sub-image.
long long TrackCount(const TSubImage& s) {
    return (static_cast<long long>(s.top) - s.bottom + 1) / s.VBinStep();
}

}  // namespace

TKestoImage::TKestoImage(TKavriRect detector, unsigned int subImageCount, const TSubImage* subs,
                         unsigned int frameCount, bool spool, bool allocate, DataStore::ePixelDataType type)
    : TCalibImage(detector, subImageCount, subs, frameCount, spool, allocate, type) {
    SetDefaults();
    const int frames = static_cast<int>(std::min<unsigned int>(frameCount, INT_MAX));
    irigDataHandler.SetSeriesLength(frames);
    metaDataHandler.SetSeriesLength(frames);
}

TKestoImage::TKestoImage(const TKestoImage& other)
    : TKestoImageData(other),
      TCalibImage(other),
      metaDataHandler(other.metaDataHandler),
      irigDataHandler(other.irigDataHandler) {
    metaDataHandler.SetAvailablity(other.metaDataHandler.GetAvailablity());
    irigDataHandler.SetIRIGAvailablity(other.irigDataHandler.GetIRIGAvailablity());
    metaDataPacket.SetSizeOfMetaData(other.metaDataPacket.GetSizeOfMetaData());
}

TSubImage TKestoImage::StoredSubImage(unsigned int index) const {
    if (index == 0 || index > GetNumberSubImages() || index > subImages.size()) return TSubImage();
    return subImages[index - 1];
}

bool TKestoImage::HoldsAllFrames() const {
    return GetNumberImages() >= 1 && !GetSpoolMode() && GetNumberStoredFrames() >= GetNumberImages();
}

void TKestoImage::SetDefaults() {
    TKestoImageData::SetDefaults();
    const LONG_RECT format = GetDetectorRect();

    Mode = GetNumberImages() > 1 ? kModeKinetic : kModeSingle;
    detector_format_x = Span(format.right, format.left);
    detector_format_z = Span(format.top, format.bottom);

    if (GetNumberSubImages() > 1) {
        ReadPattern = kPatternMultiTrack;
    } else if (GetNumberSubImages() == 0) {
        ReadPattern = kPatternImage;
    } else {
        const TSubImage s = StoredSubImage(1);
        if (TrackCount(s) > 1) {
            ReadPattern = (s.left == 1 && s.bottom == 1) ? kPatternImage
                          : s.left == 1                  ? kPatternMultiTrack
                                                         : kPatternRandomTrack;
        } else if (s.left == 1 && s.right == detector_format_x) {
            ReadPattern = (s.top == detector_format_z && s.bottom == 1) ? kPatternFullVerticalBinning
                                                                         : kPatternSingleTrack;
        } else {
            ReadPattern = kPatternRandomTrack;
        }
    }
}

void TKestoImage::CopyMostofHeader(const TKestoImage& source) {
    if (&source == this) return;
    // What stays this image's own.
    const unsigned int versionHigh = VersionHigh;
    const unsigned int versionLow = VersionLow;
    char filename[sizeof Filename];
    std::memcpy(filename, Filename, sizeof Filename);
    const TUserText userText = UserText;
    const TShutter shutter = Shutter;
    const TCropSave cropSave = CropSave;
    const float darkThreshold = DarkThreshold;

    static_cast<TKestoImageData&>(*this) = source;

    VersionHigh = versionHigh;
    VersionLow = versionLow;
    std::memcpy(Filename, filename, sizeof Filename);
    UserText = userText;
    Shutter = shutter;
    CropSave = cropSave;
    DarkThreshold = darkThreshold;
    CopyTextPrefix(HeadModel, sizeof HeadModel, source.HeadModel, kHeadModelCopied);
    CopyTextPrefix(PreAmpGainText, sizeof PreAmpGainText, source.PreAmpGainText, kPreAmpGainTextCopied);

    metaDataHandler = source.metaDataHandler;
    irigDataHandler = source.irigDataHandler;
    metaDataPacket.SetSizeOfMetaData(source.metaDataPacket.GetSizeOfMetaData());
}

float TKestoImage::GetKineticTime(int frame) const {
    if (frame < 1 || static_cast<unsigned int>(frame) > GetSeriesLength()) return -1.0f;

    double start = 0.0;
    double step = 0.0;
    if (std::strstr(HeadModel, kModelPicoseconds)) {
        start = AuxFloatSetting1 * 1e-12;
        step = AuxFloatSetting3 * 1e-12;
    } else if (std::strstr(HeadModel, kModelSeconds)) {
        start = AuxFloatSetting1;
        step = AuxFloatSetting3;
    } else if (std::strstr(HeadModel, kModelIntensifier)) {
        start = static_cast<double>(ICCDSave.GaterTime1PS) * 1e-12;
        step = ICCDSave.DelayStepCoeffA * 1e-12;
    }
    // A NaN step counts as a step.
    if (Operation == kOperationGateStep && !(step == 0.0)) return static_cast<float>((frame - 1) * step + start);

    if (frame == 1) return 0.0f;
    const unsigned int stamp = GetTimeStamp(static_cast<unsigned int>(frame - 1));
    if (GetMetaData() == 1 && stamp != 0) return static_cast<float>(stamp * 1e-6);
    if (!TriggerIsTimed(TriggerSource)) return -1.0f;
    if (KineticCycleTime >= 1e-8f) return static_cast<float>(frame - 1) * KineticCycleTime;
    return -1.0f;
}

unsigned long long TKestoImage::GetMetaDataTicks(int frame) const {
    if (frame < 1 || static_cast<unsigned int>(frame) > GetSeriesLength()) return 0;
    return GetMetaDataWord(static_cast<unsigned int>(frame - 1));
}

unsigned int TKestoImage::CalculateTimeStamps() {
    if (timeStamps.empty()) return UINT_MAX;
    const bool timed = Mode == kModeKinetic && TriggerIsTimed(TriggerSource);
    const float cycleMs = KineticCycleTime * 1000.0f;
    for (std::size_t i = 0; i < timeStamps.size(); ++i) {
        timeStamps[i] = timed ? TruncateToUnsigned(static_cast<float>(i) * cycleMs) : 0;
    }
    return 0;
}

TSubImage TKestoImage::GetCCDSubimageFormat(unsigned int index) const {
    const TSubImage s = StoredSubImage(index);
    if (index == 0 || index > GetNumberSubImages()) return s;
    const LONG_RECT format = GetDetectorRect();
    int w = Span(format.right, format.left);
    int h = Span(format.top, format.bottom);
    if (Clock != 0 || AClock != 0) std::swap(w, h);

    TSubImage r = s;
    // Counter-clockwise rotation wins when both are recorded.
    if (AClock != 0) {
        r.left = s.bottom;
        r.top = Span(w, s.left);
        r.right = s.top;
        r.bottom = Span(w, s.right);
        r.vBin = s.hBin;
        r.hBin = s.vBin;
    } else if (Clock != 0) {
        r.left = Span(h, s.top);
        r.top = s.right;
        r.right = Span(h, s.bottom);
        r.bottom = s.left;
        r.vBin = s.hBin;
        r.hBin = s.vBin;
    }
    if (FlipX != 0) {
        const int left = r.left;
        r.left = Span(w, r.right);
        r.right = Span(w, left);
    }
    if (FlipY != 0) {
        const int bottom = r.bottom;
        r.bottom = Span(h, r.top);
        r.top = Span(h, bottom);
    }
    return r;
}

unsigned long long TKestoImage::GetMetaDataTagValue(int frame, int tag) {
    const unsigned int size = metaDataPacket.GetSizeOfMetaData();
    if (size == 0 || size > MetaData::kMaxSizeOfMetaData || !metaDataHandler.isInRange(frame - 1)) return 0;
    // The handler holds data-length bytes a frame; the decoder reads `size` of them.
    std::vector<unsigned char> packet(size, 0);
    const int held = std::max(metaDataHandler.GetDataLength(), 0);
    std::memcpy(packet.data(), metaDataHandler.GetData(frame - 1), std::min<std::size_t>(size, held));
    // A fresh decoder: one that decoded another frame would still hold the fields
    // this packet lacks.
    MetaData decoder;
    decoder.SetSizeOfMetaData(size);
    decoder.ParseMetaDataPacket(packet.data(), 0);
    decoder.StoreMetaData();

    unsigned int length = 0;
    std::uint16_t version = 0;
    decoder.getCIDData(3, &version, &length);
    std::uint16_t value16 = 0;
    std::uint32_t value32 = 0;
    std::uint64_t value64 = 0;
    switch (tag) {
        case 1:
        case 2:
            decoder.getCIDData(static_cast<unsigned int>(tag), &value64, &length);
            return value64;
        case 3:
            return version;
        case 4:
            if (version == 0) return 0;
            decoder.getCIDData(4, &value16, &length);
            return value16;
        case 5:
            if (version == 0) return 0;
            decoder.getCIDData(5, &value32, &length);
            return value32;
        case 6:
            if (version <= 3) return 0;
            decoder.getCIDData(6, &value16, &length);
            return value16;
        default:
            return 0;
    }
}

TKestoImage* TKestoImage::MergeSpectraToImage() {
    if (GetNumberSubImages() == 0 || !HoldsAllFrames()) return nullptr;
    const TSubImage s = StoredSubImage(1);
    const long long w = static_cast<long long>(s.right) - s.left + 1;
    const long long h = static_cast<long long>(s.top) - s.bottom + 1;
    const long long n = GetSeriesLength();
    if (w < 1 || h < 1 || h * n > INT_MAX || w > INT_MAX) return nullptr;
    const unsigned int pixelsPerFrame = s.PixelCount();
    // A sub-image larger than the frame it sits in comes from a damaged file.
    if (pixelsPerFrame > GetDataLength()) return nullptr;

    const int top = static_cast<int>(h * n);
    const TSubImage merged(1, top, static_cast<int>(w), 1, s.vBin, s.hBin);
    TKestoImage* image = new TKestoImage(TKavriRect(1, top, static_cast<int>(w), 1), 1, &merged, 1);
    image->CopyMostofHeader(*this);

    float* dest = image->ObtainWriteImagePtr(1);
    const unsigned long long room = image->GetDataLength();
    for (unsigned int f = 1; dest && f <= GetSeriesLength(); ++f) {
        const unsigned long long at = static_cast<unsigned long long>(f - 1) * pixelsPerFrame;
        const float* src = ObtainReadImagePtr(f);
        if (src && at + pixelsPerFrame <= room) std::memcpy(dest + at, src, pixelsPerFrame * sizeof(float));
        if (src) ReleaseImagePtr(f);
    }
    if (dest) image->ReleaseImagePtr(1);
    return image;
}

TKestoImage* TKestoImage::Trim(int width) {
    if (!HoldsAllFrames()) return nullptr;
    const LONG_RECT format = GetDetectorRect();
    const long long w = static_cast<long long>(format.right) - format.left + 1;
    if (width < 1 || width > w) return nullptr;

    // The band in this image's columns.
    const int bandLeft = TruncateToInt((static_cast<double>(w) - width) * 0.5 + 1.0);
    const int bandRight = TruncateToInt((static_cast<double>(width) + w) * 0.5);

    const unsigned int subCount = GetNumberSubImages();
    std::vector<TSubImage> subs(subCount);
    unsigned long long newFrameLength = 0;
    for (unsigned int k = 0; k < subCount; ++k) {
        subs[k] = StoredSubImage(k + 1);
        subs[k].left = 1;
        subs[k].right = width;
        newFrameLength += subs[k].PixelCount();
    }
    // The band is never wider than the image, so a larger frame means damaged geometry.
    if (newFrameLength > GetDataLength()) return nullptr;

    TKestoImage* image = new TKestoImage(TKavriRect(1, format.top, width, format.bottom), subCount,
                                         subs.empty() ? nullptr : subs.data(), GetNumberImages());

    for (unsigned int n = 1; n <= GetNumberImages(); ++n) {
        for (unsigned int k = 1; k <= subCount; ++k) {
            const TSubImage s = StoredSubImage(k);
            const long long hBin = s.HBinStep();
            const long long vBin = s.VBinStep();
            // The band's edges moved down onto this sub-image's binning grid.
            const long long left = bandLeft - ((bandLeft - 1) % hBin);
            const long long right = bandRight - ((bandRight - 1) % hBin);

            const float* src = ObtainReadSubImagePtr(k, n);
            float* dest = image->ObtainWriteSubImagePtr(k, n);
            if (src && dest) {
                const unsigned long long srcCount =
                    std::min<unsigned long long>(s.PixelCount(), GetDataLength() - GetSubImageOffset(k - 1));
                const unsigned long long destCount = std::min<unsigned long long>(
                    subs[k - 1].PixelCount(), image->GetDataLength() - image->GetSubImageOffset(k - 1));
                unsigned long long from = 0;
                unsigned long long to = 0;
                // The walk stops with the pixels held, however large the recorded bounds.
                for (long long y = s.bottom; y <= s.top && from < srcCount; y += vBin) {
                    for (long long x = s.left; x <= s.right && from < srcCount; x += hBin, ++from) {
                        if (left <= x && x <= right && x + hBin <= right + 1 && to < destCount) {
                            dest[to++] = src[from];
                        }
                    }
                }
            }
            if (src) ReleaseImagePtr(n);
            if (dest) image->ReleaseImagePtr(n);
        }
    }

    image->CopyMostofHeader(*this);

    // The constants go through single precision; only the constant term moves, the
    // higher terms stay as they were.
    image->SetXCalConstants(static_cast<float>(GetXCal(bandLeft)), static_cast<float>(GetXCalConstant(1)),
                            static_cast<float>(GetXCalConstant(2)), static_cast<float>(GetXCalConstant(3)));
    image->SetXType(GetXType(), kCopiedLabel);
    image->SetXUnit(GetXUnit(), kCopiedLabel);
    image->SetYCalConstants(GetYCalConstant(0), GetYCalConstant(1), GetYCalConstant(2), GetYCalConstant(3));
    image->SetYType(GetYType(), kCopiedLabel);
    image->SetYUnit(GetYUnit(), kCopiedLabel);
    return image;
}

bool TKestoImage::ReadXMLDataStructure(TMcfDataXML& xml) {
    TKestoImageData::ReadXMLDataStructure(xml);

    const bool found = xml.SetFirstChildNode("TKestoImage");
    if (found) {
        irigDataHandler.SetIRIGAvailablity(xml.GetIntData("IRIGAvailable", 0) != 0);
        if (const char* irig = xml.GetStringData("IRIGData", nullptr)) irigDataHandler.SetAllIRIGDataAsHex(irig);

        int length = xml.GetIntData("MetaDataLength", 0);
        // No packet is longer than the decoder's word counter reaches; a longer or
        // negative length would only size buffers for nothing.
        if (length < 0 || static_cast<unsigned int>(length) > MetaData::kMaxSizeOfMetaData) length = 0;
        metaDataHandler.SetAvailablity(length != 0);
        metaDataHandler.SetDataLength(length);
        metaDataPacket.SetSizeOfMetaData(static_cast<unsigned int>(length));
        if (length != 0) metaDataHandler.SetAllMetaData(xml.GetStringData("MetaData", nullptr));
        xml.PopNode();
    }

    TCalibImage::ReadXMLDataStructure(xml);
    return found;
}

bool TKestoImage::BuildXMLDataStructure(TMcfDataXML& xml) {
    TKestoImageData::BuildXMLDataStructure(xml);

    xml.AddChildNode("TKestoImage");
    const bool irig = irigDataHandler.GetIRIGAvailablity();
    xml.SetData("IRIGAvailable", irig ? 1 : 0);
    if (irig) xml.SetData("IRIGData", irigDataHandler.GetAllIRIGDataAsHex());
    if (metaDataHandler.GetAvailablity()) {
        const int length = metaDataHandler.GetDataLength();
        xml.SetData("MetaDataLength", length);
        if (length > 0) xml.SetData("MetaData", metaDataHandler.GetAllMetaData());
    }
    xml.PopNode();

    TCalibImage::BuildXMLDataStructure(xml);
    return true;
}

std::istream& operator>>(std::istream& is, TKestoImage& image) {
    is >> static_cast<TKestoImageData&>(image);
    is >> static_cast<TCalibImage&>(image);
    const int frames = static_cast<int>(std::min<unsigned int>(image.GetSeriesLength(), INT_MAX));
    image.irigDataHandler.SetSeriesLength(frames);
    image.metaDataHandler.SetSeriesLength(frames);
    return is;
}

std::ostream& operator<<(std::ostream& os, TKestoImage& image) {
    os << static_cast<TKestoImageData&>(image);
    return os << static_cast<TCalibImage&>(image);
}
