#include "images/TiffFields.h"

#include "formats/TiffTags.h"

void TiffValue::Take(const TiffEntry& entry) {
    text_ = entry.value;
    textBytes_ = 0;
    switch (entry.type) {
        case TiffType::Byte:
            textBytes_ = entry.count < 5 ? entry.count : 0;
            break;
        // One byte less than there is room for.
        case TiffType::Ascii:
        case TiffType::SignedByte:
            textBytes_ = entry.count < 4 ? entry.count : 0;
            break;
        case TiffType::Short:
        case TiffType::SignedShort:
            textBytes_ = entry.count < 3 ? std::size_t{2} * entry.count : 0;
            break;
        case TiffType::Long:
        case TiffType::SignedLong:
        case TiffType::Float:
            number_ = entry.count == 1 ? entry.Number(order_) : number_;
            break;
        default:
            break;
    }
}

void TiffFields::Set(std::uint16_t tag, const TiffValue& value) {
    switch (tag) {
        case TiffTag::ImageWidth:
            imageWidth = value.LowNumber();
            break;
        case TiffTag::ImageLength:
            imageLength = value.LowNumber();
            break;
        case TiffTag::BitsPerSample:
            bitsPerSample = value.LowNumber();
            break;
        case TiffTag::Compression:
            compression = value.LowNumber();
            break;
        case TiffTag::DocumentName:
            value.CopyTextTo(texts.documentName);
            break;
        case TiffTag::ImageDescription:
            value.CopyTextTo(texts.imageDescription);
            break;
        case TiffTag::Make:
            value.CopyTextTo(texts.make);
            break;
        case TiffTag::Model:
            value.CopyTextTo(texts.model);
            break;
        case TiffTag::StripOffsets:
            stripOffset = value.Number();
            break;
        case TiffTag::SamplesPerPixel:
            samplesPerPixel = value.Number();
            break;
        case TiffTag::RowsPerStrip:
            rowsPerStrip = value.Number();
            break;
        case TiffTag::StripByteCounts:
            stripByteCount = value.Number();
            break;
        case TiffTag::PlanarConfiguration:
            planarConfiguration = value.LowNumber();
            break;
        case TiffTag::Software:
            value.CopyTextTo(texts.software);
            value.CopyTextTo(texts.dateTime);
            break;
        case TiffTag::DateTime:
            value.CopyTextTo(texts.dateTime);
            break;
        case TiffTag::ExifDirectory:
            exifOffset = value.Number();
            break;
        default:
            break;
    }
}
