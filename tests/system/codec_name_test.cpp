#include <ombrel/codec_name.h>

#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include <ombrel/fault.h>

namespace {

std::string name_of(const ombrel_codec_t* codec) {
    return codec != nullptr ? codec->m_name : "";
}

std::string video(const char* code) {
    return name_of(ombrel_find_video_codec(ombrel_make_fourcc(code)));
}

TEST(CodecNames, AreFoundByTheirCodes) {
    const struct {
        uint32_t tag;
        const char* symbol;
        const char* name;
    } tags[] = {{1, "WAVE_FORMAT_PCM", "PCM"},
                {0x11, "WAVE_FORMAT_DVI_ADPCM", "IMA ADPCM"},
                {0x31, "WAVE_FORMAT_GSM610", "GSM 6.10"},
                {0x55, "WAVE_FORMAT_MPEGLAYER3", "MPEG Layer 3"},
                {0x161, "WAVE_FORMAT_WMAUDIO2", "Windows Media Audio 2"},
                {0x2000, "WAVE_FORMAT_DVM", "AC-3"},
                {0xFFFE, "WAVE_FORMAT_EXTENSIBLE", "Extensible: told by the sub-format"}};
    for (const auto& [tag, symbol, name] : tags) {
        EXPECT_EQ(name, name_of(ombrel_find_audio_codec(tag)));
        EXPECT_EQ(tag, ombrel_find_audio_codec_by_name(symbol)->m_code);
        EXPECT_EQ(tag, ombrel_find_audio_codec_by_name(symbol + strlen("WAVE_FORMAT_"))->m_code);
    }
    EXPECT_EQ("Cinepak", video("CVID"));
    EXPECT_EQ("Cinepak", video("cvid"));
    EXPECT_EQ("H.264", video("avc1"));
    EXPECT_EQ("H.264, parameters in the stream", video("avc3"));
    EXPECT_EQ("", video("AVC3")); // another code, which nobody has
    EXPECT_EQ("QuickTime Animation", video("rle"));
    EXPECT_EQ(0x34363248u, ombrel_find_video_codec_by_name("h264")->m_code);
    EXPECT_EQ(ombrel_make_fourcc("CVID"), ombrel_find_video_codec_by_name("CINEPAK")->m_code);
    for (const ombrel_codec_t* none :
         {ombrel_find_audio_codec(0x10001), ombrel_find_video_codec(0), ombrel_find_audio_codec_by_name("x"),
          ombrel_find_video_codec_by_name("")})
        EXPECT_EQ(nullptr, none);
    EXPECT_EQ(def_ombrel_fault_not_found, ombrel_last_fault());
    EXPECT_EQ(nullptr, ombrel_find_video_codec_by_name(nullptr));
    EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
}

TEST(CodecNames, AreWalkedInOrderAndFoundAgain) {
    size_t count = 0;
    for (const ombrel_codec_t* codec; (codec = ombrel_get_video_codec(count)) != nullptr; count++) {
        EXPECT_EQ(codec, ombrel_find_video_codec(codec->m_code));
        EXPECT_EQ(codec->m_code, ombrel_make_fourcc(codec->m_symbol));
        EXPECT_TRUE(count == 0 || strcmp(ombrel_get_video_codec(count - 1)->m_symbol, codec->m_symbol) < 0);
    }
    EXPECT_LT(200u, count);
    for (count = 0; const ombrel_codec_t* codec = ombrel_get_audio_codec(count); count++)
        EXPECT_EQ(codec, ombrel_find_audio_codec(codec->m_code));
    EXPECT_LT(200u, count);
}

TEST(CodecNames, CodesAreNumbersAndTexts) {
    EXPECT_EQ(0x20656C72u, ombrel_make_fourcc("rle"));
    for (const char* wrong : {"", "12345", "a\n", "\xC3\xA9", static_cast<const char*>(nullptr)})
        EXPECT_EQ(0u, ombrel_make_fourcc(wrong));
    char text[def_ombrel_codec_code_size];
    EXPECT_EQ(4, ombrel_format_fourcc(text, sizeof text, ombrel_make_fourcc("rle ")));
    EXPECT_STREQ("rle ", text);
    EXPECT_EQ(13, ombrel_format_fourcc(text, sizeof text, 0x5CFF0041));
    EXPECT_STREQ("A\\x00\\xff\\x5c", text);
    EXPECT_EQ(5, ombrel_format_fourcc(text, 6, 0x80));
    EXPECT_STREQ("\\x80\\", text);
    EXPECT_EQ(-1, ombrel_format_fourcc(text, 0, 0));
    EXPECT_EQ(-1, ombrel_format_fourcc(nullptr, 5, 0));
}

} // namespace
