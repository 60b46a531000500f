#include <ombrel/terminal.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <iterator>
#include <string_view>

#include <ombrel/printf.h>

#include "platform/environment.h"
#include "platform/terminal.h"
#include "system/terminal/terminal_fault.h"
#include "text/slice.h"

using namespace ombrel;

namespace {

constexpr int true_colors = 1 << 24;

bool has_text(std::string_view text, std::string_view part) {
    return std::search(text.begin(), text.end(), part.begin(), part.end()) != text.end();
}

struct named_terminal {
    std::string_view start;
    int colors;
};

/// Where the name does not say it: kinds of terminals by how their names begin.
constexpr named_terminal terminals[] = {
    {"vt", 0},    {"xterm-mono", 0},          {"xterm-kitty", true_colors}, {"xterm", 16}, {"linux", 16},
    {"rxvt", 16}, {"alacritty", true_colors}, {"foot", true_colors},        {"screen", 8}, {"tmux", 8},
    {"ansi", 8},
};

int colors_of_name(std::string_view name) {
    if (has_text(name, "-direct") || has_text(name, "truecolor"))
        return true_colors;
    if (has_text(name, "256color"))
        return 256;
    for (const named_terminal& one : terminals)
        if (starts_with(name, one.start))
            return one.colors;
    constexpr int usual = 8;
    return usual;
}

bool is_set_to(const char* text, std::string_view wanted) {
    return text != nullptr && wanted == text;
}

struct rgb {
    int red, green, blue;
};

int distance(rgb a, rgb b) {
    const int red = a.red - b.red, green = a.green - b.green, blue = a.blue - b.blue;
    return red * red + green * green + blue * blue;
}

/// The steps of the cube's edges.
constexpr int edge[] = {0, 95, 135, 175, 215, 255};

constexpr rgb named_colors[16] = {
    {0, 0, 0},     {205, 0, 0},     {0, 205, 0},     {205, 205, 0},   {0, 0, 238}, {205, 0, 205},
    {0, 205, 205}, {229, 229, 229}, {127, 127, 127}, {255, 0, 0},     {0, 255, 0}, {255, 255, 0},
    {92, 92, 255}, {255, 0, 255},   {0, 255, 255},   {255, 255, 255},
};

constexpr int first_of_cube = 16, first_grey = 232, palette_size = 256;

rgb color_at(int index) {
    if (index < first_of_cube)
        return named_colors[index];
    if (index >= first_grey) {
        const int level = (index - first_grey) * 10 + 8;
        return {level, level, level};
    }
    const int place = index - first_of_cube;
    return {edge[place / 36], edge[place / 6 % 6], edge[place % 6]};
}

int nearest(rgb wanted, int first, int end) {
    int best = first, least = INT_MAX;
    for (int index = first; index < end; index++) {
        const int far = distance(wanted, color_at(index));
        if (far < least) {
            least = far;
            best = index;
        }
    }
    return best;
}

constexpr uint32_t kind_of(uint32_t color) {
    return color >> 24;
}
constexpr uint32_t palette_kind = kind_of(def_ombrel_terminal_color_palette(0));
constexpr uint32_t rgb_kind = kind_of(def_ombrel_terminal_color_rgb(0, 0, 0));

rgb parts_of(uint32_t color) {
    if (kind_of(color) == palette_kind)
        return color_at(static_cast<int>(color & 0xff));
    return {static_cast<int>(color >> 16 & 0xff), static_cast<int>(color >> 8 & 0xff),
            static_cast<int>(color & 0xff)};
}

/// The place in a palette of so many colours. Users choose their own first sixteen, so nothing finer is
/// looked for there.
int palette_place(uint32_t color, int colors) {
    const int place = static_cast<int>(color & 0xff);
    if (kind_of(color) == palette_kind && place < colors)
        return place;
    if (kind_of(color) == palette_kind && place < first_of_cube)
        return place - 8;
    return colors >= palette_size ? nearest(parts_of(color), first_of_cube, palette_size)
                                  : nearest(parts_of(color), 0, colors);
}

class sequence_writer {
public:
    void put(const char* format, int a = 0, int b = 0, int c = 0) {
        size_ += static_cast<size_t>(ombrel_snprintf(text_ + size_, sizeof text_ - size_, format, a, b, c));
    }

    /// @param base 30 for the foreground, 40 for the background
    void put_color(uint32_t color, int colors, int base) {
        if (kind_of(color) == rgb_kind && colors >= true_colors) {
            const rgb parts = parts_of(color);
            put(base == 30 ? ";38;2;%d;%d;%d" : ";48;2;%d;%d;%d", parts.red, parts.green, parts.blue);
            return;
        }
        const int place = palette_place(color, colors);
        if (place < 8)
            put(";%d", base + place);
        else if (place < first_of_cube)
            put(";%d", base + 60 + place - 8);
        else
            put(";%d;5;%d", base + 8, place);
    }

    std::string_view text() const { return {text_, size_}; }

private:
    char text_[64] = "";
    size_t size_ = 0;
};

/// The numbers of the attributes' bits, from the lowest on.
constexpr int attribute_numbers[] = {1, 2, 3, 4, 5, 7, 8, 9};

bool is_color(uint32_t color) {
    return kind_of(color) == palette_kind || kind_of(color) == rgb_kind;
}

void put_style(sequence_writer& to, const ombrel_terminal_style_t& style, int colors) {
    constexpr int least_colors = 8;
    for (size_t bit = 0; bit < std::size(attribute_numbers); bit++)
        if ((style.m_attributes >> bit & 1) != 0)
            to.put(";%d", attribute_numbers[bit]);
    if (colors >= least_colors && is_color(style.m_foreground))
        to.put_color(style.m_foreground, colors, 30);
    if (colors >= least_colors && is_color(style.m_background))
        to.put_color(style.m_background, colors, 40);
}

} // namespace

int ombrel_get_terminal_colors(int fd) {
    if (!platform::terminal_renders_escapes(fd))
        return 0;
    const platform::variable_text refusal = platform::environment_variable("NO_COLOR");
    if (refusal.get() != nullptr && *refusal.get() != '\0')
        return 0;
    const platform::variable_text depth = platform::environment_variable("COLORTERM");
    if (is_set_to(depth.get(), "truecolor") || is_set_to(depth.get(), "24bit"))
        return true_colors;
    const platform::variable_text name = platform::environment_variable("TERM");
    // A terminal that needs no name to be known has them all.
    return name.get() != nullptr ? colors_of_name(name.get()) : true_colors;
}

int ombrel_format_terminal_style(char* buf, size_t size, const ombrel_terminal_style_t* style, int colors) {
    if (buf == nullptr || size == 0)
        return system::failed_with(fault_code::invalid);
    sequence_writer sequence;
    sequence.put("\x1b[0");
    if (style != nullptr)
        put_style(sequence, *style, colors);
    sequence.put("m");
    const std::string_view text = sequence.text();
    const size_t kept = text.size() < size ? text.size() : 0;
    memcpy(buf, text.data(), kept);
    buf[kept] = '\0';
    return static_cast<int>(kept);
}
