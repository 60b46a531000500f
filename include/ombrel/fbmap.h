/**
 * @file fbmap.h
 * @brief Frame-buffer maps: pixel buffers in one colour interface that are windows in a tree.
 *
 * The root map stands for a device; each child is a window at a place inside its parent. Drawing goes into a
 * window's own pixels. Making them visible means recomposing a region of the root from all windows that cover
 * it, and handing the root's changed region to the device by the root's transfer function.
 *
 * @code
 * ombrel_fbmap_t* screen = ombrel_new_fbmap(0, def_ombrel_fbmap_own_map, 0x00455665, 0, 0, 640, 480);
 * ombrel_fbmap_t* window = ombrel_new_fbmap(screen, def_ombrel_fbmap_own_map, 0, 20, 20, 200, 100);
 * ombrel_fbmap_draw_clear(window, 0xFFFF);
 * ombrel_fbmap_update(window);
 * ombrel_free_fbmap(screen); // with all its windows
 * @endcode
 *
 * The children of a map are above it and above its pixels; among siblings the head of the list is the
 * topmost. A window is clipped to all its ancestors. A map whose flags hold any of
 * #def_ombrel_fbmap_transparent is blended onto what lies below it. A map without pixels covers nothing; it
 * may hold windows together.
 *
 * The root's map is what the device shows. Where no window is any more, an opaque window's pixels stay until
 * something else is drawn there: a desktop is a window of the root's size. Transparent windows leave no
 * traces: where no opaque one lies below them they are blended onto what the root shows without them, and
 * that comes back when they leave.
 *
 * Coordinates are pixels, x to the right and y downwards; they may have any value, and what lies outside a
 * map is cut off.
 *
 * One lock serialises all maps: every function without "_internal" may be called from any thread and holds
 * the lock during its work; those with "_internal" want it held by the caller, from ombrel_fbmap_lock(). A
 * thread may take the lock again, so that a transfer function or a batch may call any function here. When
 * memory for the lock's claim runs out, nothing is done and the result is that of a failure.
 *
 * A null map is reported as the assertion "s_fbmap is null !", and the result is -1 (null for pointers, 0 for
 * unsigned numbers), where nothing else is said. The functions with "_internal" do so, too.
 */
#ifndef OMBREL_FBMAP_H
#define OMBREL_FBMAP_H

#include <stdint.h>

#include <ombrel/export.h>

OMBREL_BEGIN_C

/**
 * @name Flags of a map
 * The state of a map and, for those marked so, what may be given to its creation.
 * @{
 */
#define def_ombrel_fbmap_new 0x00000001u          /**< state: made by ombrel_new_fbmap() */
#define def_ombrel_fbmap_keep_shown 0x00000002u   /**< for creation: not hidden when it is destroyed */
#define def_ombrel_fbmap_closed 0x00000008u       /**< of a root: its device has been closed */
#define def_ombrel_fbmap_own_map 0x00000010u      /**< for creation: allocates its pixels and frees them */
#define def_ombrel_fbmap_initialized 0x00000080u  /**< state: initialised and not destroyed */
#define def_ombrel_fbmap_hidden 0x00000100u       /**< for creation too: not shown */
#define def_ombrel_fbmap_append 0x00000200u       /**< for creation: below its siblings instead of above */
#define def_ombrel_fbmap_brush_fcolor 0x00001000u /**< text has its foreground colour */
#define def_ombrel_fbmap_brush_bcolor 0x00002000u /**< text has its background colour */
#define def_ombrel_fbmap_brush_ocolor 0x00004000u /**< text has its outline colour and wider spaces */
#define def_ombrel_fbmap_ccolor 0x00008000u       /**< pixels of the colour key are transparent */
#define def_ombrel_fbmap_alpha_window 0x00010000u /**< the whole window has an alpha value */
#define def_ombrel_fbmap_alpha_pixel 0x00020000u  /**< each pixel has its own alpha value */
#define def_ombrel_fbmap_no_alpha_transfer 0x00040000u /**< for the device: alpha values are not wanted */
#define def_ombrel_fbmap_debug 0x80000000u             /**< of a root: messages on its tree's work */
/** What makes a window transparent: any of colour key, window alpha and pixel alpha. */
#define def_ombrel_fbmap_transparent 0x00038000u
/** @} */

/**
 * @name Modes of the box operations
 * @{
 */
#define def_ombrel_fbmap_plain 0u /**< replaces the pixels */
#define def_ombrel_fbmap_blend 1u /**< honours the source's colour key, window alpha and pixel alpha */
/** @} */

/**
 * @name Bits of the recomposition pass
 * @{
 */
#define def_ombrel_fbmap_redraw_exhausted 1u /**< nothing of the region is left to look at */
#define def_ombrel_fbmap_redraw_nested 2u    /**< finds the owners of the region, and does not paint */
#define def_ombrel_fbmap_redraw_reached 4u   /**< windows from here on down may have changed */
/** @} */

/** A rectangle. */
typedef struct {
    int32_t m_x;  /**< its left column */
    int32_t m_y;  /**< its top row */
    uint32_t m_w; /**< columns */
    uint32_t m_h; /**< rows */
} ombrel_fbmap_rectangle_t;

/** A ratio; a length is scaled as length x numerator / denominator. */
typedef struct {
    uint32_t m_numerator;   /**< initially 1 */
    uint32_t m_denominator; /**< initially 1; 0 counts as 1 */
} ombrel_fbmap_scale_t;

/** The map; its record is below. */
typedef struct ombrel_fbmap_ts ombrel_fbmap_t;

/** Pixels that are no window; see ombrel/bitmap.h. */
struct ombrel_bitmap_ts;

/**
 * @name Operations of a map
 * The functions in a map's slots: those of the drawing functions in ombrel/fbmap_draw.h and of the box
 * functions in ombrel/fbmap_box.h, whose comments hold for them, too. They are called with the lock held. A
 * plug-in may install its own. A slot that is null or holds the public function gets the library's function
 * for the map's depth at first use; a depth other than 8, 16, 24 and 32 bits is the assertion "not supported"
 * and the result -1.
 * @{
 */
/** Hands `m_update_region` of a root to the device. Gives 0, or -1 when the region is to be kept for the next
 * transfer. */
typedef int (*ombrel_fbmap_transfer_t)(ombrel_fbmap_t* fbmap);
/** Converts a colour; an interface of 0 is that of the map. */
typedef uint32_t (*ombrel_fbmap_convert_color_t)(ombrel_fbmap_t* fbmap, uint32_t to_interface,
                                                 uint32_t from_interface, uint32_t color);
/** Sets all pixels. */
typedef int (*ombrel_fbmap_draw_clear_t)(ombrel_fbmap_t* fbmap, uint32_t color);
/** Sets one pixel; also what fills an area from one pixel on. */
typedef int (*ombrel_fbmap_draw_pixel_t)(ombrel_fbmap_t* fbmap, uint32_t color, int32_t x, int32_t y);
/** Draws a horizontal or vertical line of `length` pixels. */
typedef int (*ombrel_fbmap_draw_span_t)(ombrel_fbmap_t* fbmap, uint32_t color, int32_t x, int32_t y,
                                        uint32_t length);
/** Draws a box; `fill` is not 0 for a filled one. */
typedef int (*ombrel_fbmap_draw_box_t)(ombrel_fbmap_t* fbmap, uint32_t color, int32_t x, int32_t y,
                                       uint32_t w, uint32_t h, int fill);
/** Draws a line between two pixels. */
typedef int (*ombrel_fbmap_draw_line_t)(ombrel_fbmap_t* fbmap, uint32_t color, int32_t x1, int32_t y1,
                                        int32_t x2, int32_t y2);
/** Draws a circle; `fill` is not 0 for a filled one. */
typedef int (*ombrel_fbmap_draw_circle_t)(ombrel_fbmap_t* fbmap, uint32_t color, int32_t cx, int32_t cy,
                                          uint32_t radius, int fill);
/** Reads a pixel at x, y of the map, also into a pixel of a bitmap unless that is null. */
typedef uint32_t (*ombrel_fbmap_get_pixel_t)(ombrel_fbmap_t* fbmap, struct ombrel_bitmap_ts* bitmap,
                                             int32_t bitmap_x, int32_t bitmap_y, int32_t x, int32_t y);
/** Copies the map's rectangle x, y, w, h to a place of a bitmap. */
typedef int (*ombrel_fbmap_get_box_t)(ombrel_fbmap_t* fbmap, struct ombrel_bitmap_ts* bitmap,
                                      int32_t bitmap_x, int32_t bitmap_y, int32_t x, int32_t y, uint32_t w,
                                      uint32_t h, uint32_t mode);
/** Copies a rectangle of `w` x `h` pixels of a bitmap to x, y of the map. */
typedef int (*ombrel_fbmap_set_box_t)(ombrel_fbmap_t* fbmap, const struct ombrel_bitmap_ts* bitmap,
                                      int32_t bitmap_x, int32_t bitmap_y, int32_t x, int32_t y, uint32_t w,
                                      uint32_t h, uint32_t mode);
/** Copies the map's rectangle x, y, w, h into a bitmap's rectangle of another size. */
typedef int (*ombrel_fbmap_get_scale_box_t)(ombrel_fbmap_t* fbmap, struct ombrel_bitmap_ts* bitmap,
                                            int32_t bitmap_x, int32_t bitmap_y, uint32_t bitmap_w,
                                            uint32_t bitmap_h, int32_t x, int32_t y, uint32_t w, uint32_t h,
                                            uint32_t mode);
/** Copies a bitmap's rectangle into the map's rectangle x, y, w, h of another size. */
typedef int (*ombrel_fbmap_set_scale_box_t)(ombrel_fbmap_t* fbmap, const struct ombrel_bitmap_ts* bitmap,
                                            int32_t bitmap_x, int32_t bitmap_y, uint32_t bitmap_w,
                                            uint32_t bitmap_h, int32_t x, int32_t y, uint32_t w, uint32_t h,
                                            uint32_t mode);
/** @} */

/** The map. Initialise it with ombrel_init_fbmap(), and write its fields with the lock held only. */
struct ombrel_fbmap_ts {
    ombrel_fbmap_t* m_prev;     /**< the sibling above */
    ombrel_fbmap_t* m_next;     /**< the sibling below */
    ombrel_fbmap_t* m_parent;   /**< null for a root */
    ombrel_fbmap_t* m_children; /**< the topmost child */
    uint32_t m_flags;           /**< the flags above */
    uint32_t m_map_size;        /**< bytes of the pixels: line length x rows */
    void* m_map;                /**< the pixels, row by row from the top; see #def_ombrel_fbmap_own_map */
    uint32_t m_color_interface; /**< what a pixel is made of; see ombrel/color.h */
    uint32_t m_resx;            /**< columns */
    uint32_t m_resy;            /**< rows */
    uint32_t m_line_length;     /**< bytes from a row to the next */
    uint32_t m_bits_per_pixel;  /**< those of the colour interface */
    int32_t m_x;                /**< where its left column is in its parent */
    int32_t m_y;                /**< where its top row is in its parent */
    void* m_composite_map;      /**< of a root: where windows are blended; private */
    uint32_t m_ctx;             /**< handle of the context behind the device; a child has its parent's */
    uint32_t m_ccolor;          /**< the colour key, in the map's interface */
    uint32_t m_alpha_window;    /**< 0 (invisible) to 255 (opaque) */
    uint32_t m_brush_fcolor;    /**< colour of text; initially white */
    uint32_t m_brush_bcolor;    /**< colour behind text; initially black */
    uint32_t m_brush_ocolor;    /**< colour around text; initially black */
    ombrel_fbmap_scale_t m_brush_x_scale; /**< how wide text is */
    ombrel_fbmap_scale_t m_brush_y_scale; /**< how high text is */
    int32_t m_brush_x_interval;           /**< pixels between characters; initially 0 */
    int32_t m_brush_y_interval;           /**< pixels between lines; initially 0 */
    int32_t m_brush_angle;                /**< degrees by which text is turned; initially 0 */
    int32_t m_brush_x;                    /**< left column of text; initially 0 */
    int32_t m_brush_y;                    /**< top row of text; initially 0 */
    int32_t m_brush_x_delta; /**< where the next character is, from `m_brush_x` on; initially 0 */
    int32_t m_brush_y_delta; /**< where the next character is, from `m_brush_y` on; initially 0 */
    ombrel_fbmap_rectangle_t m_update_region; /**< what is to be recomposed, or of a root to be transferred */
    ombrel_fbmap_transfer_t m_transfer;       /**< null or ombrel_fbmap_transfer() for none */
    ombrel_fbmap_convert_color_t m_convert_color; /**< ombrel_fbmap_convert_color() */
    ombrel_fbmap_draw_clear_t m_draw_clear;       /**< ombrel_fbmap_draw_clear() */
    ombrel_fbmap_draw_pixel_t m_draw_pixel;       /**< ombrel_fbmap_draw_pixel() */
    ombrel_fbmap_draw_span_t m_draw_hline;        /**< ombrel_fbmap_draw_hline() */
    ombrel_fbmap_draw_span_t m_draw_vline;        /**< ombrel_fbmap_draw_vline() */
    ombrel_fbmap_draw_box_t m_draw_box;           /**< ombrel_fbmap_draw_box() */
    ombrel_fbmap_draw_line_t m_draw_line;         /**< ombrel_fbmap_draw_line() */
    ombrel_fbmap_draw_circle_t m_draw_circle;     /**< ombrel_fbmap_draw_circle() */
    ombrel_fbmap_draw_pixel_t m_draw_fill;        /**< ombrel_fbmap_draw_fill() */
    ombrel_fbmap_get_pixel_t m_get_pixel;         /**< ombrel_fbmap_get_pixel() */
    ombrel_fbmap_get_box_t m_get_box;             /**< ombrel_fbmap_get_box() */
    ombrel_fbmap_set_box_t m_set_box;             /**< ombrel_fbmap_set_box() */
    ombrel_fbmap_get_scale_box_t m_get_scale_box; /**< ombrel_fbmap_get_scale_box() */
    ombrel_fbmap_set_scale_box_t m_set_scale_box; /**< ombrel_fbmap_set_scale_box() */
};

/** A rectangle in a list of them. */
typedef struct ombrel_fbmap_rectangle_node_ts {
    struct ombrel_fbmap_rectangle_node_ts* m_prev; /**< the rectangle before */
    struct ombrel_fbmap_rectangle_node_ts* m_next; /**< the rectangle after */
    uint32_t m_flags;                              /**< 1 when it needs blending */
    ombrel_fbmap_t* m_owner;                       /**< whose pixels it shows; null for none yet */
    ombrel_fbmap_rectangle_t m_rectangle;          /**< in coordinates of the root */
} ombrel_fbmap_rectangle_node_t;

/**
 * @name Life cycle
 * @{
 */
/**
 * @brief Initialises a record and links it into its parent as the topmost child.
 *
 * What the record held is lost. A new window does not show before it is drawn into and updated.
 * @param fbmap           the record
 * @param parent          the parent, or null for a root; not `fbmap` nor below it
 * @param flags           those for creation; #def_ombrel_fbmap_append makes it the lowest child
 * @param color_interface what a pixel is made of; 0 takes the parent's
 * @param x               where its left column is in the parent
 * @param y               where its top row is in the parent
 * @param resx            columns; 0 takes the parent's
 * @param resy            rows; 0 takes the parent's
 * @return the map; null, with nothing linked and what ombrel_new_fbmap() allocated freed, when the pixels
 * could not be allocated or would have 2^32 bytes or more in all, which is the assertion "s_fbmap->m_map is
 * null !"
 */
OMBREL_API ombrel_fbmap_t* ombrel_init_fbmap(ombrel_fbmap_t* fbmap, ombrel_fbmap_t* parent, uint32_t flags,
                                             uint32_t color_interface, int32_t x, int32_t y, uint32_t resx,
                                             uint32_t resy);
/**
 * @brief Frees all children, hides the map unless #def_ombrel_fbmap_keep_shown is set, unlinks it, and frees
 * what it owns but the record.
 *
 * The root looks then as if the windows had been hidden one by one, the topmost first, but it is recomposed
 * and transferred once for a window with all that it holds.
 * @param fbmap the map; one that is not initialised is left alone
 * @return 0, or -1 for null
 */
OMBREL_API int ombrel_destroy_fbmap(ombrel_fbmap_t* fbmap);
/**
 * @brief Allocates a record and initialises it; arguments and failures as with ombrel_init_fbmap().
 * @return the map, to be freed with ombrel_free_fbmap(), by the parent at the latest; null when that failed
 */
OMBREL_API ombrel_fbmap_t* ombrel_new_fbmap(ombrel_fbmap_t* parent, uint32_t flags, uint32_t color_interface,
                                            int32_t x, int32_t y, uint32_t resx, uint32_t resy);
/**
 * @brief Destroys a map, and frees the record if ombrel_new_fbmap() allocated it.
 * @param fbmap the map
 * @return null
 */
OMBREL_API ombrel_fbmap_t* ombrel_free_fbmap(ombrel_fbmap_t* fbmap);
/** @} */

/**
 * @name The lock of all maps
 * @{
 */
/** @brief Takes the lock, waiting for it. @return 0, or -1 when memory for the claim ran out */
OMBREL_API int ombrel_fbmap_lock(void);
/** @brief Releases the lock. @return 0, or -1 when it was not held */
OMBREL_API int ombrel_fbmap_unlock(void);
/** @} */

/**
 * @name Windows
 * Where a result is "0 or -1", -1 says that the map is null, that memory for the recomposition ran out, or
 * that the root's transfer gave -1. Another result of the transfer is passed on.
 * @{
 */
/** @brief Shows a hidden window; a visible one or a root is left alone. @return 0 or -1 */
OMBREL_API int ombrel_fbmap_show(ombrel_fbmap_t* fbmap);
/** @brief Hides a visible window, so that what lies below it shows; a hidden one or a root is left alone. Its
 * children stay where they are, each shown or hidden by itself. @return 0 or -1 */
OMBREL_API int ombrel_fbmap_hide(ombrel_fbmap_t* fbmap);
/**
 * @brief Moves a window with its children to another place in its parent.
 * @param fbmap the window; a root is left alone
 * @param x     where its left column shall be
 * @param y     where its top row shall be
 * @return 0 or -1
 */
OMBREL_API int ombrel_fbmap_move(ombrel_fbmap_t* fbmap, int32_t x, int32_t y);
/**
 * @brief Moves and resizes a window. The top left part of its pixels stays; what is new is zero bytes.
 *
 * The pixels are the map's own from then on. A buffer that the caller supplied stays the caller's.
 * @param fbmap the window; a root is left alone
 * @param x     where its left column shall be
 * @param y     where its top row shall be
 * @param resx  columns
 * @param resy  rows
 * @return 0; -1 after the assertion "not enough memory ! resize failed !", with the old size at the new place
 */
OMBREL_API int ombrel_fbmap_resize(ombrel_fbmap_t* fbmap, int32_t x, int32_t y, uint32_t resx, uint32_t resy);
/** @brief Makes the update region visible, unless it is empty: that of a window is recomposed and the root
 *         transferred, a root is just transferred. @return 0 or -1 */
OMBREL_API int ombrel_fbmap_update(ombrel_fbmap_t* fbmap);
/**
 * @brief Calls the installed transfer function of the map, and empties a root's update region unless that
 * gave -1. A window's region stays, as ombrel_fbmap_update() has still to recompose it.
 *
 * Without one the library's own, which does nothing, is installed; a map whose depth is not 8, 16, 24 or 32
 * bits is then the assertion "not supported".
 * @param fbmap the map
 * @return what the transfer function gives, or -1
 */
OMBREL_API int ombrel_fbmap_transfer(ombrel_fbmap_t* fbmap);
/** @} */

/**
 * @name Getters
 * What the map's record holds. For a null map they give, after the assertion, 0 (or null), where nothing else
 * is said.
 * @{
 */
/** @brief Whether the device behind the map's tree has been closed. @return 1 or 0; -1 for null */
OMBREL_API int ombrel_fbmap_is_closed(ombrel_fbmap_t* fbmap);
/** @brief The hidden bit as it is stored: despite its name, 1 for a HIDDEN map. @return 1 or 0; -1 for null
 */
OMBREL_API int ombrel_fbmap_is_visible(ombrel_fbmap_t* fbmap);
/**
 * @brief The pixels.
 * @param fbmap    the map
 * @param size_out receives their bytes, unless null
 * @return the pixels, which stay the map's and are replaced by a resize
 */
OMBREL_API void* ombrel_fbmap_get_map(ombrel_fbmap_t* fbmap, uint32_t* size_out);
/** @brief The bytes of the pixels. @return them; 0 for null */
OMBREL_API uint32_t ombrel_fbmap_get_map_size(ombrel_fbmap_t* fbmap);
/** @brief The colour interface. @return it; 0 for null */
OMBREL_API uint32_t ombrel_fbmap_get_color_interface(ombrel_fbmap_t* fbmap);
/** @brief The bits of a pixel. @return them; 0 for null */
OMBREL_API uint32_t ombrel_fbmap_get_bits_per_pixel(ombrel_fbmap_t* fbmap);
/** @brief The bytes of a row. @return them; 0 for null */
OMBREL_API uint32_t ombrel_fbmap_get_line_length(ombrel_fbmap_t* fbmap);
/** @brief Where the left column is in the parent. @return it; 0 for null */
OMBREL_API int32_t ombrel_fbmap_get_x(ombrel_fbmap_t* fbmap);
/** @brief Where the top row is in the parent. @return it; 0 for null */
OMBREL_API int32_t ombrel_fbmap_get_y(ombrel_fbmap_t* fbmap);
/** @brief The columns. @return them; 0 for null */
OMBREL_API uint32_t ombrel_fbmap_get_resx(ombrel_fbmap_t* fbmap);
/** @brief The rows. @return them; 0 for null */
OMBREL_API uint32_t ombrel_fbmap_get_resy(ombrel_fbmap_t* fbmap);
/** @} */

/**
 * @name Transparency
 * A visible window is recomposed as a whole after each of these, and a root transferred. They give 0, or what
 * ombrel_fbmap_update() gives when that is something else.
 * @{
 */
/** @brief Whether (`on` not 0) pixels of the colour key are transparent. @return 0, or what the update gives
 */
OMBREL_API int ombrel_fbmap_use_ccolor(ombrel_fbmap_t* fbmap, int on);
/** @brief Sets the colour key, in the map's interface. @return 0, or what the update gives */
OMBREL_API int ombrel_fbmap_set_ccolor(ombrel_fbmap_t* fbmap, uint32_t color);
/** @brief Whether (`on` not 0) the window alpha is used. @return 0, or what the update gives */
OMBREL_API int ombrel_fbmap_use_alpha_window(ombrel_fbmap_t* fbmap, int on);
/** @brief Sets the window alpha, 0 (invisible) to 255 (opaque); more counts as 255. @return 0, or what the
 * update gives */
OMBREL_API int ombrel_fbmap_set_alpha_window(ombrel_fbmap_t* fbmap, uint32_t alpha);
/** @brief Whether (`on` not 0) the alpha of each pixel is used. @return 0, or what the update gives */
OMBREL_API int ombrel_fbmap_use_alpha_pixel(ombrel_fbmap_t* fbmap, int on);
/**
 * @brief Clears (`on` not 0) or sets the flag #def_ombrel_fbmap_no_alpha_transfer.
 *
 * The flag is for the transfer function of a device, which may leave out alpha values where it is set. The
 * library itself neither looks at it nor changes pixels for it.
 * @return 0, or what the update gives
 */
OMBREL_API int ombrel_fbmap_use_alpha_transfer(ombrel_fbmap_t* fbmap, int on);
/** @} */

/**
 * @name Brush
 * How text is drawn from now on. Nothing is recomposed. They give 0, or -1 for null.
 * @{
 */
/** @brief Whether (`on` not 0) text has its foreground colour. @return 0 or -1 */
OMBREL_API int ombrel_fbmap_use_brush_fcolor(ombrel_fbmap_t* fbmap, int on);
/** @brief Whether (`on` not 0) text has its background colour. @return 0 or -1 */
OMBREL_API int ombrel_fbmap_use_brush_bcolor(ombrel_fbmap_t* fbmap, int on);
/** @brief Whether (`on` not 0) text has its outline colour. @return 0 or -1 */
OMBREL_API int ombrel_fbmap_use_brush_ocolor(ombrel_fbmap_t* fbmap, int on);
/** @brief Whether (`on` not 0) text has all three colours. @return 0 or -1 */
OMBREL_API int ombrel_fbmap_use_brush_color(ombrel_fbmap_t* fbmap, int on);
/** @brief Sets the foreground colour, in the map's interface. @return 0 or -1 */
OMBREL_API int ombrel_fbmap_set_brush_fcolor(ombrel_fbmap_t* fbmap, uint32_t color);
/** @brief Sets the background colour, in the map's interface. @return 0 or -1 */
OMBREL_API int ombrel_fbmap_set_brush_bcolor(ombrel_fbmap_t* fbmap, uint32_t color);
/** @brief Sets the outline colour, in the map's interface. @return 0 or -1 */
OMBREL_API int ombrel_fbmap_set_brush_ocolor(ombrel_fbmap_t* fbmap, uint32_t color);
/** @brief Sets all three colours, in the map's interface. @return 0 or -1 */
OMBREL_API int ombrel_fbmap_set_brush_color(ombrel_fbmap_t* fbmap, uint32_t fcolor, uint32_t bcolor,
                                            uint32_t ocolor);
/** @brief Sets how wide text is. @return 0 or -1 */
OMBREL_API int ombrel_fbmap_set_brush_x_scale(ombrel_fbmap_t* fbmap, uint32_t numerator,
                                              uint32_t denominator);
/** @brief Sets how high text is. @return 0 or -1 */
OMBREL_API int ombrel_fbmap_set_brush_y_scale(ombrel_fbmap_t* fbmap, uint32_t numerator,
                                              uint32_t denominator);
/** @brief Sets how wide and how high text is. @return 0 or -1 */
OMBREL_API int ombrel_fbmap_set_brush_xy_scale(ombrel_fbmap_t* fbmap, uint32_t x_numerator,
                                               uint32_t x_denominator, uint32_t y_numerator,
                                               uint32_t y_denominator);
/** @brief Sets the pixels between characters. @return 0 or -1 */
OMBREL_API int ombrel_fbmap_set_brush_x_interval(ombrel_fbmap_t* fbmap, int32_t interval);
/** @brief Sets the pixels between lines. @return 0 or -1 */
OMBREL_API int ombrel_fbmap_set_brush_y_interval(ombrel_fbmap_t* fbmap, int32_t interval);
/** @brief Sets the pixels between characters and between lines. @return 0 or -1 */
OMBREL_API int ombrel_fbmap_set_brush_xy_interval(ombrel_fbmap_t* fbmap, int32_t x_interval,
                                                  int32_t y_interval);
/** @brief Sets by how many degrees text is turned, clockwise about its origin; any value. @return 0 or -1 */
OMBREL_API int ombrel_fbmap_set_brush_angle(ombrel_fbmap_t* fbmap, int32_t angle);
/** @brief Sets the left column of text. @return 0 or -1 */
OMBREL_API int ombrel_fbmap_set_brush_x(ombrel_fbmap_t* fbmap, int32_t x);
/** @brief Sets the top row of text. @return 0 or -1 */
OMBREL_API int ombrel_fbmap_set_brush_y(ombrel_fbmap_t* fbmap, int32_t y);
/** @brief Sets the origin of text. @return 0 or -1 */
OMBREL_API int ombrel_fbmap_set_brush_xy(ombrel_fbmap_t* fbmap, int32_t x, int32_t y);
/** @brief Sets where the next character is, from the left column of text on. @return 0 or -1 */
OMBREL_API int ombrel_fbmap_set_brush_x_delta(ombrel_fbmap_t* fbmap, int32_t x_delta);
/** @brief Sets where the next character is, from the top row of text on. @return 0 or -1 */
OMBREL_API int ombrel_fbmap_set_brush_y_delta(ombrel_fbmap_t* fbmap, int32_t y_delta);
/** @brief Sets where the next character is, from the origin of text on. @return 0 or -1 */
OMBREL_API int ombrel_fbmap_set_brush_xy_delta(ombrel_fbmap_t* fbmap, int32_t x_delta, int32_t y_delta);
/** @} */

/**
 * @brief What two rectangles have in common, and what remains of the first.
 *
 * Rectangles that touch without sharing a pixel do not overlap. Right and bottom edges may lie outside the
 * range of the coordinates.
 * @param a           the first rectangle
 * @param b           the second rectangle
 * @param overlap_out receives what they share, unless null; untouched when they do not overlap
 * @param rest_out    receives 4 rectangles, unless null: the part of `a` above the overlap (from the left
 * edge of `a` to the right edge of the overlap), right of it, below it and left of it, any of which may be
 *                    empty and which tile the rest of `a`; untouched when they do not overlap
 * @return 1 when they overlap, 0 when they do not, -1 when `a` or `b` is null
 */
OMBREL_API int ombrel_sep_overlap_window(const ombrel_fbmap_rectangle_t* a, const ombrel_fbmap_rectangle_t* b,
                                         ombrel_fbmap_rectangle_t* overlap_out,
                                         ombrel_fbmap_rectangle_t* rest_out);

/**
 * @name With the lock held
 * The functions above without their locking, and the steps that they are made of.
 * @{
 */
/** @brief ombrel_fbmap_show() with the lock held. */
OMBREL_API int __ombrel_fbmap_show_internal(ombrel_fbmap_t* fbmap);
/** @brief ombrel_fbmap_hide() with the lock held. */
OMBREL_API int __ombrel_fbmap_hide_internal(ombrel_fbmap_t* fbmap);
/** @brief ombrel_fbmap_move() with the lock held. */
OMBREL_API int __ombrel_fbmap_move_internal(ombrel_fbmap_t* fbmap, int32_t x, int32_t y);
/** @brief ombrel_fbmap_resize() with the lock held. */
OMBREL_API int __ombrel_fbmap_resize_internal(ombrel_fbmap_t* fbmap, int32_t x, int32_t y, uint32_t resx,
                                              uint32_t resy);
/** @brief ombrel_fbmap_update() with the lock held. */
OMBREL_API int __ombrel_fbmap_update_internal(ombrel_fbmap_t* fbmap);
/** @brief ombrel_fbmap_transfer() with the lock held. */
OMBREL_API int __ombrel_fbmap_transfer_internal(ombrel_fbmap_t* fbmap);
/**
 * @brief The part of a rectangle of a window that its ancestors and its root do not clip.
 * @param fbmap    the window
 * @param out_rect receives the visible part, in coordinates of the root, with a width or height of 0 when
 * there is none; may be null or `in_rect`
 * @param in_rect  a rectangle of the window, in its own coordinates; null is the whole window
 * @param x_out    receives the window's left column in the root, unless null
 * @param y_out    receives the window's top row in the root, unless null; both are kept within their range
 * @return the root; null for a null window
 */
OMBREL_API ombrel_fbmap_t* __ombrel_fbmap_get_abs_region_internal(ombrel_fbmap_t* fbmap,
                                                                  ombrel_fbmap_rectangle_t* out_rect,
                                                                  const ombrel_fbmap_rectangle_t* in_rect,
                                                                  int32_t* x_out, int32_t* y_out);
/**
 * @brief Recomposes a region of a window into the root and transfers the root.
 *
 * A region of which nothing is visible is left alone.
 * @param fbmap  the window
 * @param region the region, in coordinates of the window; emptied when something of it is visible; null is a
 * failure
 * @param mode   #def_ombrel_fbmap_redraw_reached when windows above may have changed, too, else 0
 * @return 0; -1 when memory ran out for some of it, which is the assertion "not enough memory !
 *         __ombrel_fbmap_new_rectangle_node_internal failed !" and keeps the region for another try, or when
 * the transfer failed
 */
OMBREL_API int __ombrel_fbmap_redraw_region_with_transfer_internal(ombrel_fbmap_t* fbmap,
                                                                   ombrel_fbmap_rectangle_t* region,
                                                                   uint32_t mode);
/**
 * @brief Finds who owns the rectangles of a list, and paints them.
 * @param first_sibling the topmost of the siblings to look at, which all have the same root; null for none
 * @param target        the window that has changed
 * @param list          address of the head of the list, whose nodes are of the tagged heap; empty after a
 * call that was not nested
 * @param state         bits of the recomposition pass: nested for finding owners alone, reached when windows
 * above the target may have changed, too
 * @return the state in the end: exhausted and reached; all-ones (-1) when the target, which is reported, or
 * `list` is null
 */
OMBREL_API uint32_t __ombrel_fbmap_redraw_region_recursive_internal(ombrel_fbmap_t* first_sibling,
                                                                    ombrel_fbmap_t* target,
                                                                    ombrel_fbmap_rectangle_node_t** list,
                                                                    uint32_t state);
/** @} */

OMBREL_END_C

#endif
