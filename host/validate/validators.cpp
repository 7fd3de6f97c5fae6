#include "host/validators/validator.h"

namespace salvor {

// Each is defined in its own source.
extern const Validator AbrValidator;
extern const Validator AsfValidator;
extern const Validator AuValidator;
extern const Validator BmpValidator;
extern const Validator BookmarkValidator;
extern const Validator BoxValidator;
extern const Validator CabinetValidator;
extern const Validator CardValidator;
extern const Validator CasioValidator;
extern const Validator CompoundValidator;
extern const Validator CrwValidator;
extern const Validator CurValidator;
extern const Validator DbxValidator;
extern const Validator DwgValidator;
extern const Validator DxfValidator;
extern const Validator EbmlValidator;
extern const Validator EmfValidator;
extern const Validator FlashValidator;
extern const Validator FlvValidator;
extern const Validator GifValidator;
extern const Validator HtmlValidator;
extern const Validator IccValidator;
extern const Validator IcoValidator;
extern const Validator JpegValidator;
extern const Validator JsonValidator;
extern const Validator MailValidator;
extern const Validator MayaValidator;
extern const Validator MidiValidator;
extern const Validator MpegAudioValidator;
extern const Validator MpegVideoValidator;
extern const Validator MrwValidator;
extern const Validator OciValidator;
extern const Validator OggValidator;
extern const Validator PcxValidator;
extern const Validator PngValidator;
extern const Validator ProgramStreamValidator;
extern const Validator PsdValidator;
extern const Validator PspValidator;
extern const Validator PostScriptValidator;
extern const Validator PstValidator;
extern const Validator QuarkValidator;
extern const Validator RafValidator;
extern const Validator RarValidator;
extern const Validator RdcValidator;
extern const Validator RealMediaValidator;
extern const Validator RichTextValidator;
extern const Validator RiffValidator;
extern const Validator SevenZipValidator;
extern const Validator SmafValidator;
extern const Validator TextValidator;
extern const Validator TiffValidator;
extern const Validator TransportStreamValidator;
extern const Validator VegasValidator;
extern const Validator WmfValidator;
extern const Validator WordPerfectValidator;
extern const Validator X3fValidator;
extern const Validator XcfValidator;
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
        &VegasValidator,
        &BoxValidator,
        &RealMediaValidator,
        &MidiValidator,
        &SmafValidator,
        &FlvValidator,
        &FlashValidator,
        &ProgramStreamValidator,
        &TransportStreamValidator,
        &MpegVideoValidator,
        &MpegAudioValidator,
        &AuValidator,
        &PostScriptValidator,
        &BookmarkValidator,
        &HtmlValidator,
        &XmlValidator,
        &MailValidator,
        &JsonValidator,
        &RichTextValidator,
        &CardValidator,
        &GifValidator,
        &TiffValidator,
        &CrwValidator,
        &MrwValidator,
        &RafValidator,
        &X3fValidator,
        &RdcValidator,
        &AbrValidator,
        &QuarkValidator,
        &WordPerfectValidator,
        &PsdValidator,
        &XcfValidator,
        &PspValidator,
        &MayaValidator,
        &CasioValidator,
        &DwgValidator,
        &EmfValidator,
        &IccValidator,
        &OciValidator,
        &WmfValidator,
        &IcoValidator,
        &CurValidator,
        &DxfValidator,
        &BmpValidator,
        &PcxValidator,
        &TextValidator,
        // clang-format on
    };
    return validators;
}

}  // namespace salvor
