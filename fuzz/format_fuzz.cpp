// Formats one conversion of any shape. The bytes choose it, and the argument follows its character and its
// "l"s, so that the types always match.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include <ombrel/printf.h>

#include "support/require.h"

namespace {

class bytes {
public:
    bytes(const uint8_t* data, size_t size) : data_(data), left_(size) {}

    template<typename Value>
    Value value() {
        Value result{};
        const size_t count = left_ < sizeof result ? left_ : sizeof result;
        memcpy(&result, data_, count);
        advance(count);
        return result;
    }

    std::string text(size_t most) {
        const size_t count = left_ < most ? left_ : most;
        const std::string result(reinterpret_cast<const char*>(data_), count);
        advance(count);
        return result.c_str();
    }

private:
    void advance(size_t count) {
        data_ += count;
        left_ -= count;
    }

    const uint8_t* data_;
    size_t left_;
};

// Whatever the room, the result is a beginning of the text that more room gives, and stays inside its area.
template<typename... Arguments>
void format_all(const std::string& format, size_t size, Arguments... arguments) {
    constexpr size_t large = 2048;
    const auto whole = std::make_unique<char[]>(large);
    const int length = ombrel_snprintf(whole.get(), large, format.c_str(), arguments...);
    require(length >= 0 && static_cast<size_t>(length) < large && whole[static_cast<size_t>(length)] == '\0');
    const auto part = std::make_unique<char[]>(size);
    const int stored = ombrel_snprintf(part.get(), size, format.c_str(), arguments...);
    require(stored == (static_cast<size_t>(length) < size ? length : static_cast<int>(size) - 1));
    require(memcmp(part.get(), whole.get(), static_cast<size_t>(stored)) == 0);
    require(part[static_cast<size_t>(stored)] == '\0');
}

// A "*" can only be taken as a width when it comes before everything else that takes an argument.
template<typename Argument>
void format_one(const std::string& format, bool star, size_t size, int width, Argument argument) {
    if (star)
        format_all(format, size, width, argument);
    else
        format_all(format, size, argument);
}

std::string without_percent(std::string text) {
    for (char& c : text) {
        if (c == '%')
            c = '_';
    }
    return text;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    bytes input(data, size);
    const size_t room = 1 + input.value<uint8_t>();
    const auto width = input.value<int>();
    const auto number = input.value<uint64_t>();
    auto kind = static_cast<char>(input.value<uint8_t>());
    if (kind != '\0' && strchr("%#-.*0123456789l", kind) != nullptr)
        kind = 'q'; // these would make the text behind them a conversion of its own
    const unsigned level = input.value<uint8_t>() % 4;
    // Letters among the flags would be conversions of their own; those that take nothing are tried as the
    // kind.
    std::string flags = without_percent(input.text(12));
    for (char& c : flags) {
        if (strchr("#-.*0123456789", c) == nullptr)
            c = "#-.0*123456789.5"[static_cast<unsigned char>(c) % 16];
    }
    const std::string text = input.text(300);
    const std::string format =
        "<%" + flags + std::string(level, 'l') + kind + without_percent(text.substr(0, 20));
    const bool star = flags.find('*') != flags.npos;
    switch (kind) {
    case 's':
        format_one(format, star, room, width, text.c_str());
        break;
    case 'f': {
        double value;
        memcpy(&value, &number, sizeof value);
        format_one(format, star, room, width, value);
        break;
    }
    case 'p':
    case 'P':
        format_one(format, star, room, width, reinterpret_cast<void*>(static_cast<uintptr_t>(number)));
        break;
    default:
        if (level == 0 || kind == 'c')
            format_one(format, star, room, width, static_cast<int>(number));
        else if (level == 1)
            format_one(format, star, room, width, static_cast<long>(number));
        else
            format_one(format, star, room, width, static_cast<int64_t>(number));
    }
    return 0;
}
