// Conversions between character sets beside iconv() of the C library: both convert the same text into a
// buffer that is there, with a converter that is open.

#include <array>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <iconv.h>

#include <ombrel/charset.h>

namespace {

// Texts as people write them, with spaces, digits and signs.
constexpr const char* korean =
    "모든 인간은 태어날 때부터 자유로우며 그 존엄과 권리에 있어 동등하다. 인간은 천부적으로 이성과 양심을 "
    "부여받았으며 서로 형제애의 정신으로 행동하여야 한다(第1條, 1948年).\n";
constexpr const char* japanese =
    "すべての人間は、生れながらにして自由であり、かつ、尊厳と権利とについて平等である。人間は、理性と良心とを"
    "授けられており、互いに同胞の精神をもって行動しなければならない(第1条、1948年)。\n";
constexpr const char* western =
    "Tous les êtres humains naissent libres et égaux en dignité et en droits. Ils "
    "sont doués de raison et de conscience.\n";
constexpr const char* ascii = "All human beings are born free and equal in dignity and rights. They are "
                              "endowed with reason and conscience.\n";

constexpr size_t text_size = 64 * 1024;

struct work {
    const char* name;
    const char* text;
    const char* from;
    const char* to;
};
constexpr std::array works = {
    work{"charset_korean_from_euc_kr", korean, "EUC-KR", "UTF-8"},
    work{"charset_korean_from_cp949", korean, "CP949", "UTF-8"},
    work{"charset_korean_to_euc_kr", korean, "UTF-8", "EUC-KR"},
    work{"charset_korean_to_cp949", korean, "UTF-8", "CP949"},
    work{"charset_korean_cp949_to_utf_16", korean, "CP949", "UTF-16LE"},
    work{"charset_japanese_from_shift_jis", japanese, "SHIFT_JIS", "UTF-8"},
    work{"charset_japanese_from_cp932", japanese, "CP932", "UTF-8"},
    work{"charset_japanese_from_euc_jp", japanese, "EUC-JP", "UTF-8"},
    work{"charset_japanese_to_shift_jis", japanese, "UTF-8", "SHIFT_JIS"},
    work{"charset_japanese_to_cp932", japanese, "UTF-8", "CP932"},
    work{"charset_japanese_to_euc_jp", japanese, "UTF-8", "EUC-JP"},
    work{"charset_japanese_shift_jis_to_euc_jp", japanese, "SHIFT_JIS", "EUC-JP"},
    work{"charset_korean_utf_8_to_utf_16", korean, "UTF-8", "UTF-16LE"},
    work{"charset_korean_utf_16_to_utf_8", korean, "UTF-16LE", "UTF-8"},
    work{"charset_korean_utf_8_to_utf_32", korean, "UTF-8", "UTF-32LE"},
    work{"charset_korean_utf_32_to_utf_8", korean, "UTF-32LE", "UTF-8"},
    work{"charset_western_from_latin_1", western, "ISO-8859-1", "UTF-8"},
    work{"charset_western_to_windows_1252", western, "UTF-8", "CP1252"},
    work{"charset_western_utf_8_to_utf_16", western, "UTF-8", "UTF-16LE"},
    work{"charset_ascii_from_cp949", ascii, "CP949", "UTF-8"},
    work{"charset_ascii_utf_8_to_utf_16", ascii, "UTF-8", "UTF-16LE"},
    work{"charset_ascii_utf_16_to_utf_8", ascii, "UTF-16LE", "UTF-8"},
};

std::string convert_by_iconv(const std::string& text, const char* from, const char* to) {
    std::string result(text.size() * 4, '\0');
    iconv_t converter = iconv_open(to, from);
    char *in = const_cast<char*>(text.data()), *out = result.data();
    size_t left = text.size(), room = result.size();
    iconv(converter, &in, &left, &out, &room);
    iconv_close(converter);
    result.resize(result.size() - room);
    return result;
}

std::string make_input(const work& one) {
    std::string text;
    while (text.size() < text_size)
        text += one.text;
    return convert_by_iconv(text, "UTF-8", one.from);
}

void convert(benchmark::State& state, const work& one) {
    const std::string text = make_input(one);
    std::vector<char> out(text.size() * 4);
    auto* const converter =
        ombrel_open_charset_converter(ombrel_find_charset(one.from), ombrel_find_charset(one.to), nullptr);
    for (auto _ : state) {
        size_t at = 0, made = 0;
        if (ombrel_charset_converter_push(converter, text.data(), text.size(), &at, out.data(), out.size(),
                                          &made) != 0)
            state.SkipWithError("not converted");
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    ombrel_close_charset_converter(converter);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void convert_by_peer(benchmark::State& state, const work& one) {
    const std::string text = make_input(one);
    std::vector<char> result(text.size() * 4);
    iconv_t converter = iconv_open(one.to, one.from);
    for (auto _ : state) {
        char *in = const_cast<char*>(text.data()), *out = result.data();
        size_t left = text.size(), room = result.size();
        if (iconv(converter, &in, &left, &out, &room) != 0)
            state.SkipWithError("not converted");
        benchmark::DoNotOptimize(result.data());
        benchmark::ClobberMemory();
    }
    iconv_close(converter);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

const bool registered = [] {
    for (const work& one : works) {
        benchmark::RegisterBenchmark((std::string(one.name) + "|ombrel").c_str(), convert, one);
        benchmark::RegisterBenchmark((std::string(one.name) + "|iconv").c_str(), convert_by_peer, one);
    }
    return true;
}();

} // namespace
