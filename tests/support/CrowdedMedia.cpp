#include "tests/support/CrowdedMedia.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "tests/support/Numbers.h"
#include "tests/support/Registry.h"

namespace test {

namespace {

void Write(Bytes& bytes, std::size_t at, const Bytes& part) {
    std::copy_n(part.begin(), std::min(part.size(), bytes.size() - at),
                bytes.begin() + static_cast<std::ptrdiff_t>(at));
}

}  // namespace

Bytes MixedFixtures(Noise& noise, std::size_t size) {
    // Few formats in one medium, so that files of a type run into each other.
    std::array<const Bytes*, 3> chosen{};
    std::ranges::generate(chosen, [&] { return &Fixtures()[noise.Below(Fixtures().size())].bytes; });
    Bytes bytes(size);
    for (std::size_t at = 0; at < size;) {
        const Bytes& file = *chosen[noise.Below(chosen.size())];
        const std::size_t from = noise.Below(3) == 0 ? noise.Below(file.size() / 512 + 1) * 512 : 0;
        const std::size_t most = noise.Below(6) == 0 ? file.size() : 512 * (1 + noise.Below(4));
        const std::size_t length = std::min(most, file.size() - from);
        Write(bytes, at,
              Bytes(file.begin() + static_cast<std::ptrdiff_t>(from),
                    file.begin() + static_cast<std::ptrdiff_t>(from + length)));
        at += (length + 511) / 512 * 512;
    }
    return bytes;
}

Bytes AudioMedium(Noise& noise, std::size_t size) {
    Bytes bytes(size);
    std::size_t at = 0;
    while (at < size) {
        // Frames of 96 bytes, which at times fill a sector, in rows that are mostly too short.
        for (std::uint64_t row = noise.Below(14); row > 0 && at < size; --row, at += 96) {
            Write(bytes, at, {0xFF, 0xFB, static_cast<std::uint8_t>(noise.Below(40) == 0 ? 0xF4 : 0x14), 0});
        }
        at += noise.Below(2) * (32 - at % 32) + noise.Below(3) * 512 * noise.Below(8);
    }
    for (int i = 0; i < 300; ++i) {
        const std::size_t sector = noise.Below(size / 32) * 32;
        Write(bytes, sector, {'I', 'D', '3', 0});
        if (noise.Below(20) == 0) {
            Write(bytes, sector + noise.Below(28), {'T', 'A', 'G'});
        }
    }
    return bytes;
}

Bytes TransportMedium(Noise& noise, std::size_t size) {
    constexpr std::size_t sizes[] = {188, 192, 204, 208};
    Bytes bytes(size);
    for (int rows = 0; rows < 5; ++rows) {
        const std::size_t step = sizes[noise.Below(4)];
        std::size_t at = noise.Below(size / 512) * 512 + noise.Below(2) * 4;
        for (std::uint64_t packets = noise.Below(600); packets > 0 && at < size; --packets, at += step) {
            Write(bytes, at, {0x47, static_cast<std::uint8_t>(noise.Below(150) == 0 ? 0 : 1), 0});
        }
    }
    return bytes;
}

Bytes ProgramMedium(Noise& noise, std::size_t size) {
    Bytes bytes(size);
    for (std::size_t at = 0; at < size; at += 16) {
        Write(bytes, at, {0, 0, 1, 0xBA, 0x44, 0, 0, 0, 0, 0, 0, 0, 0, 0xFA});
    }
    for (std::uint64_t packets = 15 + noise.Below(40); packets > 0; --packets) {
        const std::uint64_t length = 10 + 16 * noise.Below(noise.Below(4) == 0 ? 600 : 2);
        Write(bytes, noise.Below(size / 16) * 16,
              {0, 0, 1, 0xE0, static_cast<std::uint8_t>(length >> 8U), static_cast<std::uint8_t>(length)});
    }
    for (std::uint64_t breaks = noise.Below(4); breaks > 0; --breaks) {
        bytes[noise.Below(size / 16) * 16] = 1;
    }
    return bytes;
}

Bytes MailLike(Noise& noise, std::size_t size) {
    const std::string pieces[] = {"Received:",
                                  "\r\nReceived: x",
                                  "\r\nContent-Type:",
                                  "\r\nContent-Type: text/html\r\n",
                                  "\r\nContent-Type: multipart; boundary=b1\r\n",
                                  "boundary=\"b 2\"\r\n",
                                  "\r\nContent-Type: multipart; boundary=\"xxx=17\"\r\n",
                                  "boundary=\r\n",
                                  "boundary=\"\r\n",
                                  "</html>",
                                  "--b1--",
                                  "--b 2--",
                                  "--xxx=17--",
                                  "xxx=17--",
                                  "\r\n",
                                  "--",
                                  "-----",
                                  "</htm",
                                  "content-type: text/html"};
    std::string text;
    while (text.size() < size) {
        if (noise.Below(3) == 0) {
            text += pieces[noise.Below(std::size(pieces))];
        }
        text.append(noise.Below(noise.Below(9) == 0 ? 900 : 60), "a-\r "[noise.Below(4)]);
        if (noise.Below(3) == 0) {
            text.append((512 - text.size() % 512) % 512, ' ').append("Received:");
        }
    }
    text.resize(size);
    return BytesOf(text);
}

Bytes MarkupMedium(Noise& noise, std::size_t size) {
    const std::string pieces[] = {"<a>",       "<a>",  "<b>",   "<b x=\"1\">", "</b>",         "</a>",
                                  "</a>",      "<b/>", "<a/>",  "<a y='>'>",   "<!-- <a> -->", "<![CDATA[",
                                  "]]> text ", "<ab>", "<?x?>", "\"",          "<!a>",         "\r\n"};
    // With few end tags, documents are long.
    const std::uint64_t ends = noise.Below(2);
    std::string text;
    while (text.size() < size) {
        const std::string& piece = pieces[noise.Below(std::size(pieces))];
        text += piece.starts_with("</a") && noise.Below(8) > ends ? "<b></b>" : piece;
        if (noise.Below(40) == 0) {
            text.append((512 - text.size() % 512) % 512, noise.Below(4) == 0 ? '<' : ' ');
            text.append("<?xml version='1.0'?>").append(noise.Below(3) == 0 ? "<!DOCTYPE a [<!b " : "");
            text.append(noise.Below(6) == 0 ? "<b>" : "<a>");
        }
    }
    text.resize(size);
    return BytesOf(text);
}

Bytes PdfMedium(Noise& noise, std::size_t size) {
    const std::string pieces[] = {"%%EOF\n",   "%%EOF",   "startxref\n9\n", "startxref\n510\n%%EOF\n",
                                  "1 0 obj\n", "endobj\n"};
    std::string text;
    while (text.size() < size) {
        if (noise.Below(20) == 0) {
            text.append((512 - text.size() % 512) % 512, noise.Below(2) == 0 ? ' ' : '\0').append("%PDF-1.4\nxref\n");
        }
        const std::string fill(noise.Below(80), 'x');
        // Rows of end marks are passed at once.
        for (std::uint64_t marks = noise.Below(50) == 0 ? noise.Below(900) : 0; marks > 0; --marks) {
            text += pieces[0];
        }
        text += noise.Below(60) == 0  ? "/AIPrivateData1"
                : noise.Below(3) == 0 ? fill
                                      : pieces[noise.Below(std::size(pieces))];
    }
    text.resize(size);
    return BytesOf(text);
}

Bytes PictureMedium(Noise& noise, std::size_t size) {
    constexpr std::size_t piece = 0x7E00;
    Bytes bytes(size);
    const auto segment = [](std::uint8_t marker, std::size_t length) {
        return Bytes{0xFF, marker, static_cast<std::uint8_t>(length >> 8U), static_cast<std::uint8_t>(length), 'J', 'F',
                     'I',  'F'};
    };
    const auto mark = [&](std::size_t at) {
        if (at < size) {
            Write(bytes, at, {0xFF, 0xD9});
        }
    };
    for (std::uint64_t file = 0; file < 40; ++file) {
        std::size_t at = noise.Below(size / 512) * 512;
        Write(bytes, at, {0xFF, 0xD8});
        at += 2;
        for (std::uint64_t hops = 1 + noise.Below(noise.Below(8) == 0 ? 3000 : 5); hops > 0 && at < size; --hops) {
            const std::size_t length = 20 + noise.Below(noise.Below(4) == 0 ? 40000 : 60);
            Write(bytes, at, segment(0xE1, length));
            at += 2 + length;
        }
        if (at + 70 < size) {
            Write(bytes, at, segment(0xDA, 60));
            mark(at + 62 + piece * (1 + noise.Below(4)) - noise.Below(5));
        }
        mark(noise.Below(size));
    }
    for (const std::size_t fromEnd : {6U, 4U, 2U}) {
        mark(size - fromEnd);
    }
    return bytes;
}

Bytes BoxMedium(Noise& noise, std::size_t size) {
    constexpr std::string_view types[] = {"moov", "mdat", "free", "free", "skip", "ftyp", "moof", "wide", "uuid"};
    const bool isOfAtoms = noise.Below(2) == 0;
    const auto box = [](std::uint64_t length, std::string_view type) {
        return Join({Big(length, 4), BytesOf(type)});
    };
    Bytes bytes(size);
    const std::size_t end = size - 600;
    for (std::size_t at = 0; at < end;) {
        const std::uint64_t length = 8 + 8 * noise.Below(20);
        const std::uint64_t chance = noise.Below(3000);
        const std::uint64_t told = chance < 20 ? noise.Below(size) : length;
        Write(bytes, at,
              chance == 20  ? Bytes(8, 'x')
              : chance < 10 ? Join({box(1, "free"), Big(told, 8)})
                            : box(told, types[noise.Below(isOfAtoms ? 5 : std::size(types))]));
        at += length;
    }
    for (std::size_t at = 0; at < end; at += 512 * (1 + noise.Below(3))) {
        Write(bytes, at, Join({box(16 + 8 * noise.Below(70), "ftyp"), BytesOf(isOfAtoms ? "qt  " : "isom"), Bytes(4)}));
    }
    return bytes;
}

Bytes RememberedFiles(Noise& noise, std::size_t size) {
    // A directory with the place and length of the picture, or without. Some begin like raws of one camera.
    const auto tiff = [&] {
        const std::uint8_t first = noise.Below(2) == 0 ? 1 : 2;
        const bool isRaw = first == 2;
        const auto entry = [&](std::uint64_t tag) {
            return Join({Little(tag, 2), Little(4, 2), Little(1, 4), Little(300 + noise.Below(9000), 4)});
        };
        const Bytes picture = noise.Below(3) == 0 ? Bytes()
                              : isRaw             ? Join({entry(513), entry(514)})
                                                  : Join({entry(273), entry(279)});
        const std::uint64_t entries = 1 + picture.size() / 12;
        return Join({BytesOf(isRaw ? "IIRO" : std::string("II*\0", 4)), Little(8, 4), Little(entries, 2), entry(256),
                     picture, Little(0, 4), BytesOf("OLYMPUS")});
    };
    const auto film = [&] {
        const std::uint64_t chunk = 300 + noise.Below(9000);
        return Join({BytesOf(std::string(".RMF\0\0\0\x12", 8)), Zeros(6), Big(2, 4), BytesOf("CONT"), Big(chunk, 4)});
    };
    const std::string pages[] = {"<!DOCTYPE html><html><body>", "<title><p><a></body>", "</html>", "text"};
    Bytes bytes(size, ' ');
    for (std::size_t at = 0; at + 512 <= size; at += 512) {
        switch (noise.Below(6)) {
            case 0:
                Write(bytes, at, tiff());
                break;
            case 1:
                Write(bytes, at, film());
                break;
            case 2:
            case 3:
                Write(bytes, at, BytesOf(pages[noise.Below(std::size(pages))]));
                break;
            default:
                break;
        }
    }
    return bytes;
}

}  // namespace test
