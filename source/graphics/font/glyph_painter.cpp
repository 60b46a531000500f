#include "graphics/font/glyph_painter.h"

#include "graphics/pixel/kernels/kernels.h"

namespace ombrel::graphics {

/// What each pixel of a glyph and of the border around it is, and where its edges lie from the origin on.
template<unsigned Bytes>
class glyph_painter<Bytes>::cell_grid {
public:
    static constexpr int limit = 18; // 16 and a border of 1 on both sides

    cell_grid(const glyph& shape, const text_style& style, int64_t x, int64_t y)
        : columns(shape.width + 2), rows(shape.height + 2) {
        for (int i = 0; i <= columns; i++)
            column_edges[static_cast<size_t>(i)] = style.x_scale.of(x + i - 1);
        for (int i = 0; i <= rows; i++)
            row_edges[static_cast<size_t>(i)] = style.y_scale.of(y + i - 1);
        for (int row = 0; row < rows; row++)
            for (int column = 0; column < columns; column++)
                cells_[static_cast<size_t>(row)][static_cast<size_t>(column)] =
                    color_of(shape, style, column - 1, row - 1);
    }

    /// The colour of a cell; null for one that stays as it is.
    const uint32_t* at(int column, int row) const {
        return cells_[static_cast<size_t>(row)][static_cast<size_t>(column)];
    }

    /// The cell between whose edges the place lies, or null.
    const uint32_t* at_place(const place& spot) const {
        const int column = index_between(column_edges, columns, spot.x);
        const int row = index_between(row_edges, rows, spot.y);
        return column < 0 || row < 0 ? nullptr : at(column, row);
    }

    int columns, rows;
    std::array<int64_t, limit + 1> column_edges, row_edges;

private:
    static const uint32_t* color_of(const glyph& shape, const text_style& style, int x, int y) {
        if (shape.has_ink(x, y))
            return style.ink_used ? &style.ink : nullptr;
        if (style.rim_used && touches_ink(shape, x, y))
            return &style.rim;
        const bool in_box = x >= 0 && x < shape.width && y >= 0 && y < shape.height;
        return style.paper_used && in_box ? &style.paper : nullptr;
    }

    static bool touches_ink(const glyph& shape, int x, int y) {
        for (int dy = -1; dy <= 1; dy++)
            for (int dx = -1; dx <= 1; dx++)
                if (shape.has_ink(x + dx, y + dy))
                    return true;
        return false;
    }

    static int index_between(const std::array<int64_t, limit + 1>& edges, int count, int64_t where) {
        const auto end = edges.begin() + count + 1;
        const auto above = std::upper_bound(edges.begin(), end, where);
        return above == end ? -1 : static_cast<int>(above - edges.begin()) - 1;
    }

    std::array<std::array<const uint32_t*, limit>, limit> cells_;
};

namespace {

bool same_rectangle(const rectangle& a, const rectangle& b) {
    return a.m_x == b.m_x && a.m_y == b.m_y && a.m_w == b.m_w && a.m_h == b.m_h;
}

template<unsigned Bytes>
glyph_kernel kernel() {
    const kernel_slots& slots = kernels();
    const glyph_kernel kernels[] = {slots.glyph8, slots.glyph16, slots.glyph24, slots.glyph32};
    return kernels[Bytes - 1];
}

} // namespace

template<unsigned Bytes>
void glyph_painter<Bytes>::paint(const glyph& shape, int64_t x, int64_t y) {
    if (!style_.ink_used && !style_.paper_used && !style_.rim_used)
        return;
    if (!style_.is_plain()) {
        const cell_grid cells(shape, style_, x, y);
        style_.turn.is_none() ? paint_scaled(cells) : paint_turned(cells);
        return;
    }
    const int64_t left = style_.x + x, top = style_.y + y;
    const rectangle box = between(left, top, left + shape.width, top + shape.height);
    const rectangle visible = visible_part(map_, box);
    if (is_empty(visible))
        return;
    if (same_rectangle(box, visible))
        paint_plain(shape, box);
    else
        paint_cut(shape, box);
    painter_.touched().add(visible);
}

template<unsigned Bytes>
void glyph_painter<Bytes>::paint_plain(const glyph& shape, const rectangle& box) {
    kernel<Bytes>()({painter_.pixels().at(box.m_x, box.m_y), map_.m_line_length, shape.rows,
                     static_cast<size_t>(shape.width), static_cast<size_t>(shape.height)},
                    {style_.ink_used, style_.paper_used, style_.ink, style_.paper});
}

template<unsigned Bytes>
void glyph_painter<Bytes>::paint_cut(const glyph& shape, const rectangle& box) {
    for (int y = 0; y < shape.height; y++)
        for (int x = 0; x < shape.width; x++) {
            const bool set = shape.has_ink(x, y);
            if (set ? style_.ink_used : style_.paper_used)
                painter_.paint_pixel(set ? style_.ink : style_.paper, int64_t{box.m_x} + x,
                                     int64_t{box.m_y} + y);
        }
}

template<unsigned Bytes>
void glyph_painter<Bytes>::paint_scaled(const cell_grid& cells) {
    for (int row = 0; row < cells.rows; row++)
        for (int column = 0, next; column < cells.columns; column = next) {
            const uint32_t* color = cells.at(column, row);
            for (next = column + 1; next < cells.columns && cells.at(next, row) == color; next++) {
            }
            if (color == nullptr)
                continue;
            const auto edge = [](const auto& edges, int i) { return edges[static_cast<size_t>(i)]; };
            painter_.paint(*color, between(style_.x + edge(cells.column_edges, column),
                                           style_.y + edge(cells.row_edges, row),
                                           style_.x + edge(cells.column_edges, next),
                                           style_.y + edge(cells.row_edges, row + 1)));
        }
}

// Looks from each pixel that the turned cells may cover to the cell that comes to lie there, so that no pixel
// is left out.
template<unsigned Bytes>
void glyph_painter<Bytes>::paint_turned(const cell_grid& cells) {
    int64_t left = far_away, top = far_away, right = -far_away, bottom = -far_away;
    for (const int64_t x : {cells.column_edges[0], cells.column_edges[static_cast<size_t>(cells.columns)]})
        for (const int64_t y : {cells.row_edges[0], cells.row_edges[static_cast<size_t>(cells.rows)]}) {
            const place corner = style_.turn.turned({x, y});
            left = std::min(left, corner.x - 1);
            top = std::min(top, corner.y - 1);
            right = std::max(right, corner.x + 2);
            bottom = std::max(bottom, corner.y + 2);
        }
    const rectangle part =
        visible_part(map_, between(style_.x + left, style_.y + top, style_.x + right, style_.y + bottom));
    for (int64_t y = part.m_y; y < bottom_of(part); y++)
        for (int64_t x = part.m_x; x < right_of(part); x++)
            if (const uint32_t* color = cells.at_place(style_.turn.turned_back({x - style_.x, y - style_.y})))
                painter_.paint_pixel(*color, x, y);
}

template class glyph_painter<1>;
template class glyph_painter<2>;
template class glyph_painter<3>;
template class glyph_painter<4>;

} // namespace ombrel::graphics
