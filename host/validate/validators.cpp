#include "host/validate/validator.h"

namespace salvor {

// Each is defined in a source of its own.
extern const Validator AsfValidator;
extern const Validator AuValidator;
extern const Validator BoxValidator;
extern const Validator CabinetValidator;
extern const Validator BookmarkValidator;
extern const Validator CabinetValidator;
extern const Validator CompoundValidator;
extern const Validator DbxValidator;
extern const Validator EbmlValidator;
extern const Validator FlashValidator;
extern const Validator FlvValidator;
extern const Validator HtmlValidator;
extern const Validator MailValidator;
extern const Validator JpegValidator;
extern const Validator MidiValidator;
extern const Validator MpegAudioValidator;
extern const Validator OggValidator;
extern const Validator PngValidator;
extern const Validator PstValidator;
extern const Validator RarValidator;
extern const Validator RealMediaValidator;
extern const Validator RiffValidator;
extern const Validator SevenZipValidator;
extern const Validator SmafValidator;
extern const Validator TextValidator;
extern const Validator XmlValidator;
extern const Validator ZipValidator;

std::span<const Validator* const> Validators() {
    static constexpr const Validator* validators[] = {
        // clang-format off
        &CompoundValidator,
        &ZipValidator,
        &RarValidator,
        &SevenZipValidator,
        &CabinetValidator,
        &PstValidator,
        &DbxValidator,
        &PngValidator,
        &JpegValidator,
        &OggValidator,
        &RiffValidator,
        &EbmlValidator,
        &AsfValidator,
        &BoxValidator,
        &RealMediaValidator,
        &MidiValidator,
        &SmafValidator,
        &FlvValidator,
        &FlashValidator,
        &MpegAudioValidator,
        &AuValidator,
        &BookmarkValidator,
        &HtmlValidator,
        &XmlValidator,
        &MailValidator,
        &TextValidator,
        // clang-format on
    };
    return validators;
}

const char* VerdictName(Verdict verdict) {
    switch (verdict) {
        case Verdict::Whole:
            return "whole";
        case Verdict::Open:
            return "open";
        case Verdict::Truncated:
            return "truncated";
        case Verdict::Damaged:
            return "damaged";
        case Verdict::NoFile:
            return "no file";
    }
    return "";
}

}  // namespace salvor
