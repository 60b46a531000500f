// Scans any text after any format, and runs the number parsers over the text.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include <ombrel/scan.h>

#include "support/require.h"

namespace {

constexpr size_t most_fields = 8;

struct stream {
    const char* cursor;
};

int peek(void* context) {
    return ombrel_scan_peek_mem(&static_cast<stream*>(context)->cursor);
}

int pop(void* context) {
    return ombrel_scan_pop_mem(&static_cast<stream*>(context)->cursor);
}

int scan_stream(stream& from, const char* format, ...) {
    va_list ap;
    va_start(ap, format);
    const int fields = ombrel_context_scanf(peek, pop, &from, format, ap);
    va_end(ap);
    return fields;
}

// Each conversion takes one pointer at most, and any of them fits into an area as large as the whole text.
class targets {
public:
    explicit targets(size_t text) : size_((text + 1 + 15) / 16 * 16) {
        for (auto& area : areas_) {
            area = std::make_unique<uint64_t[]>(size_ / sizeof(uint64_t));
            memset(area.get(), 0, size_);
        }
    }

    void* operator[](size_t field) const { return areas_[field].get(); }
    bool operator==(const targets& other) const {
        for (size_t i = 0; i < most_fields; i++) {
            if (memcmp(areas_[i].get(), other.areas_[i].get(), size_) != 0)
                return false;
        }
        return true;
    }

private:
    size_t size_;
    std::unique_ptr<uint64_t[]> areas_[most_fields];
};

void scan_both_ways(const char* text, const char* format) {
    const targets a(strlen(text)), b(strlen(text));
    const int fields = ombrel_sscanf(text, format, a[0], a[1], a[2], a[3], a[4], a[5], a[6], a[7]);
    stream from{text};
    require(fields == scan_stream(from, format, b[0], b[1], b[2], b[3], b[4], b[5], b[6], b[7]));
    require(a == b);
    require(from.cursor <= text + strlen(text));
}

void parse_numbers(const char* text) {
    for (int base : {-1, 0, 2, 8, 10, 16, 36}) {
        char* end = nullptr;
        const int64_t wide = ombrel_strtoll(text, &end, base);
        require(end >= text && end <= text + strlen(text));
        require(ombrel_atox(text, base) == static_cast<int>(wide));
        require(ombrel_atolx(text, base) == static_cast<long>(wide));
    }
    const double value = ombrel_atof(text);
    require(value == value);
    for (int digits : {-1, 0, 1, 6, 19, 100})
        ombrel_atof_uintmax(text, digits, nullptr);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // The format ends at the first line feed; the text follows.
    const std::string whole(reinterpret_cast<const char*>(data), size);
    const size_t split = whole.find('\n');
    std::string format = whole.substr(0, split);
    const std::string text = split == whole.npos ? std::string() : whole.substr(split + 1);
    size_t conversions = 0;
    for (char& c : format) {
        if (c == '%' && ++conversions > most_fields)
            c = '_';
    }
    scan_both_ways(text.c_str(), format.c_str());
    parse_numbers(text.c_str());
    return 0;
}
