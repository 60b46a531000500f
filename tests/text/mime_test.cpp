#include <gtest/gtest.h>

#include <ombrel/mime.h>

TEST(MimeTest, AHintCoversWhatOneOfItsPatternsMatchesInEitherCase) {
    const struct {
        const char *hint, *type;
        int result;
    } cases[] = {{"text/*|application/tuk_fb", "TEXT/plain", 0},
                 {"text/*;application/tuk_fb", "application/tuk_fb", 0},
                 {"text/*|application/tuk_fb", "application/tuk_fbx", -1},
                 {nullptr, "any/thing", 0},
                 {nullptr, nullptr, 0},
                 {"", "any/thing", -1},
                 {"*", nullptr, 0},
                 {"text/*", nullptr, -1},
                 {"a/?;b", "A/b", 0},
                 {"a b;c", "c", 0}};
    for (const auto& c : cases)
        EXPECT_EQ(ombrel_compare_mime_type_hint(c.hint, c.type), c.result)
            << (c.hint != nullptr ? c.hint : "null");
    EXPECT_EQ(0, ombrel_compare_mime_type("a/b", "a/b"));
    EXPECT_NE(0, ombrel_compare_mime_type("a/b", "A/b"));
    EXPECT_EQ(0, ombrel_compare_mime_type(nullptr, ""));
}

TEST(MimeTest, TheLastEndingOfANameTellsItsType) {
    static constexpr const char* cases[][2] = {
        {"index.html", "text/html"},          {"a/b.c/PHOTO.JPG", "image/jpeg"},
        {"a.tar.gz", "application/gzip"},     {"x.3gp", "video/3gpp"},
        {".zst", "application/zstd"},         {"none", "application/octet-stream"},
        {"", "application/octet-stream"},     {"a.html/b", "application/octet-stream"},
        {"a.", "application/octet-stream"},   {"a.htmlx", "application/octet-stream"},
        {"a.ht", "application/octet-stream"}, {"a\\b.svg", "image/svg+xml"}};
    for (const auto& [name, type] : cases)
        EXPECT_STREQ(type, ombrel_get_mime_type(name)) << name;
    EXPECT_STREQ("application/octet-stream", ombrel_get_mime_type(nullptr));
}
