// The first program once more, in C++.
#include <string_view>

#include <ombrel_tuk.hpp>

int main(int argc, char** argv) {
    ombrel::print("libombrel_tuk %s\n", ombrel_get_tuk_version_string());
    for (int i = 1; i < argc; i++) {
        const std::string_view name = argv[i];
        ombrel::print("%2d: hello, %s (%llu bytes)\n", i, name, ombrel::wide(name.size()));
    }
    return 0;
}
