#include <ombrel/dump.h>

#include <cstring>

#include <ombrel/output.h>
#include <ombrel/printf.h>

#include "core/heap_ptr.h"
#include "text/digits.h"

using namespace ombrel;

namespace {

constexpr size_t run_size = 16;
constexpr size_t indent_room = 128;
constexpr size_t line_room = 128; // an address of up to 16 digits, the columns, the text, the line end

char* append(char* to, const char* text) {
    const size_t length = strlen(text);
    memcpy(to, text, length + 1);
    return to + length;
}

char printable(unsigned char byte) {
    return byte < 32 || byte > 126 ? '.' : static_cast<char>(byte);
}

void write_run(char* line, const unsigned char* bytes, size_t count, uint64_t address) {
    char* to = line + ombrel_snprintf(line, line_room, "%08llX", static_cast<unsigned long long>(address));
    char text[run_size + 1];
    for (size_t i = 0; i < run_size; i++) {
        if (i < count) {
            to = put_hex(append(to, i == 8 ? " | " : " "), bytes[i]);
            text[i] = printable(bytes[i]);
        } else {
            to = append(to, i == 8 ? "     " : "   ");
            text[i] = ' ';
        }
    }
    text[run_size] = '\0';
    append(append(append(to, " ["), text), "]\n");
}

} // namespace

const void* ombrel_dump_ex(int indent, size_t offset, const void* data, size_t size, uint64_t address) {
    if (data == nullptr)
        return nullptr;
    char local[indent_room + line_room];
    heap_ptr<char> wide;
    char* line = local;
    size_t margin = indent > 0 ? static_cast<size_t>(indent) : 0;
    if (margin > indent_room) {
        wide.reset(static_cast<char*>(ombrel_alloc_tag(margin + line_room, "ombrel_dump_ex", __LINE__)));
        if (wide)
            line = wide.get();
        else
            margin = indent_room; // the bytes matter more than where they stand
    }
    memset(line, ' ', margin);
    const auto* bytes = static_cast<const unsigned char*>(data) + offset;
    for (size_t position = 0; position < size; position += run_size) {
        const size_t count = size - position < run_size ? size - position : run_size;
        write_run(line + margin, bytes + position, count, address + position);
        ombrel_puts(line);
    }
    ombrel_puts(nullptr);
    return data;
}
