// Drawing into maps: the lock, the pixels that a fill puts aside, and formatted text.
#include <ombrel/png.h>

#include "alloc_failure/injection.h"
#include "graphics/drawing_board.h"

namespace ombrel_test {
namespace {

OMBREL_FAILURES(Drawing, shapes_are_drawn_or_refused) {
    drawing_board board(32, 8, 8);
    const int result = fail.during([&] { return ombrel_fbmap_draw_box(board, 7, 0, 0, 8, 8, 1); });
    EXPECT_TRUE(result == 0 || (result == -1 && fail.hit())) << result;
    EXPECT_EQ(board.pixels(), picture(64, result == 0 ? 7 : 0));
}

OMBREL_FAILURES(Drawing, a_fill_tells_that_it_is_not_complete) {
    drawing_board board(16, 2000, 3); // a comb with more teeth than a chunk of the stack has room for
    for (int x = 1; x < 2000; x += 2)
        ombrel_fbmap_draw_vline(board, 1, x, 1, 2);
    const int result = fail.during([&] { return ombrel_fbmap_draw_fill(board, 7, 0, 0); });
    EXPECT_TRUE(result == 0 || (result == -1 && fail.hit())) << result;
    const picture pixels = board.pixels();
    EXPECT_TRUE(result == -1 || std::count(pixels.begin(), pixels.end(), 7) == 4000);
}

OMBREL_FAILURES(Drawing, text_is_drawn_or_refused) {
    drawing_board board(8, 100, 20);
    const int result = fail.during([&] { return ombrel_fbmap_draw_printf(board, "%d %s", 12, "text"); });
    // An exact copy of the formatted text is no must.
    EXPECT_TRUE(result == 7 || (result == -1 && fail.hit())) << result;
}

OMBREL_FAILURES(Drawing, pictures_are_whole_or_refused) {
    drawing_board board(16, 60, 40);
    ombrel_buffer_t* const output = ombrel_open_buffer();
    const int result = fail.during([&] { return ombrel_png_push_fbmap(output, def_ombrel_png_rgb, board); });
    EXPECT_TRUE(result == 0 || (result == -1 && fail.hit())) << result;
    EXPECT_TRUE(result == -1 || ombrel_get_buffer_size(output) > 57);
    ombrel_close_buffer(output);
}

} // namespace
} // namespace ombrel_test
