#include "tests/host/Deflated.h"

#include <zlib.h>

namespace salvor::test {

Bytes Deflated(const Bytes& content) {
    z_stream stream{};
    deflateInit2(&stream, 9, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY);
    Bytes packed(content.size() + 64);
    Bytes source = content;
    stream.next_in = source.data();
    stream.avail_in = static_cast<uInt>(source.size());
    stream.next_out = packed.data();
    stream.avail_out = static_cast<uInt>(packed.size());
    deflate(&stream, Z_FINISH);
    packed.resize(stream.total_out);
    deflateEnd(&stream);
    return packed;
}

}  // namespace salvor::test
