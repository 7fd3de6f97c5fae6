#include "frame/read/TraceMessage.h"

std::int32_t TraceMessage(const char* /*format*/, ...) { return 0; }

std::int32_t TraceFormatted(const char* /*format*/, ...) { return 0; }
