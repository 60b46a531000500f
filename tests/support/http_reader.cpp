// Reads messages of HTTP from standard input and says on a line for each what became of it. Before each stand
// what it is (0 a request, 1 a response) and its bytes: "0 18\n". Behind it the connection is closed.

#include <cstdio>
#include <string>

#if defined(_WIN32)
#include <fcntl.h>
#include <io.h>
#endif

#include "support/http_trace.h"

namespace {

void print_line(const std::string& trace) {
    for (const char c : trace) {
        const unsigned byte = static_cast<unsigned char>(c);
        if (byte < ' ' || byte > '~' || c == '\\')
            printf("\\x%02x", byte);
        else
            putchar(c);
    }
    putchar('\n');
}

} // namespace

int main() {
#if defined(_WIN32)
    _setmode(0, _O_BINARY);
    _setmode(1, _O_BINARY);
#endif
    int role;
    size_t size;
    while (scanf("%d %zu", &role, &size) == 2 && getchar() == '\n') {
        std::string text(size, '\0');
        if (fread(text.data(), 1, size, stdin) != size)
            return 1;
        http_trace::reader whole(role, nullptr), bytes(role, nullptr);
        whole.push(text);
        for (size_t at = 0; at < size && bytes.push({&text[at], 1}); at++) {
        }
        const std::string trace = whole.finish();
        print_line(trace == bytes.finish() ? trace : "pieces differ");
    }
    return 0;
}
