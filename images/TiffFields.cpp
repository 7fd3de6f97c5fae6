#include "images/TiffFields.h"

namespace {

enum Tag : std::uint16_t {
    ImageWidth = 256,
    ImageLength = 257,
    BitsPerSample = 258,
    Compression = 259,
    DocumentName = 269,
    ImageDescription = 270,
    Make = 271,
    Model = 272,
    StripOffsets = 273,
    SamplesPerPixel = 277,
    RowsPerStrip = 278,
    StripByteCounts = 279,
    PlanarConfiguration = 284,
    Software = 305,
    DateTime = 306,
    ExifIfd = 34665,
};

enum Type : std::uint16_t {
    Byte = 1,
    Ascii = 2,
    Short = 3,
    Long = 4,
    SignedByte = 6,
    SignedShort = 8,
    SignedLong = 9,
    Float = 11,
};

}  // namespace

void TiffValue::Take(const TiffEntry& entry) {
    text_ = entry.value;
    textBytes_ = 0;
    switch (entry.type) {
        case Byte:
            textBytes_ = entry.count < 5 ? entry.count : 0;
            break;
        // One byte less than there is room for.
        case Ascii:
        case SignedByte:
            textBytes_ = entry.count < 4 ? entry.count : 0;
            break;
        case Short:
        case SignedShort:
            textBytes_ = entry.count < 3 ? std::size_t{2} * entry.count : 0;
            break;
        case Long:
        case SignedLong:
        case Float:
            number_ = entry.count == 1 ? entry.Number(order_) : number_;
            break;
        default:
            break;
    }
}

void TiffFields::Set(std::uint16_t tag, const TiffValue& value) {
    switch (tag) {
        case ImageWidth:
            imageWidth = value.LowNumber();
            break;
        case ImageLength:
            imageLength = value.LowNumber();
            break;
        case BitsPerSample:
            bitsPerSample = value.LowNumber();
            break;
        case Compression:
            compression = value.LowNumber();
            break;
        case DocumentName:
            value.CopyTextTo(texts.documentName);
            break;
        case ImageDescription:
            value.CopyTextTo(texts.imageDescription);
            break;
        case Make:
            value.CopyTextTo(texts.make);
            break;
        case Model:
            value.CopyTextTo(texts.model);
            break;
        case StripOffsets:
            stripOffset = value.Number();
            break;
        case SamplesPerPixel:
            samplesPerPixel = value.Number();
            break;
        case RowsPerStrip:
            rowsPerStrip = value.Number();
            break;
        case StripByteCounts:
            stripByteCount = value.Number();
            break;
        case PlanarConfiguration:
            planarConfiguration = value.LowNumber();
            break;
        case Software:
            value.CopyTextTo(texts.software);
            value.CopyTextTo(texts.dateTime);
            break;
        case DateTime:
            value.CopyTextTo(texts.dateTime);
            break;
        case ExifIfd:
            exifOffset = value.Number();
            break;
        default:
            break;
    }
}
