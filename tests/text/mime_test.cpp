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
