#include "png_writer.h"

#include <string.h>

enum {
    bytes_per_pixel = 3,
    block_limit = 65535, /* bytes of a stored deflate block */
    block_head = 5,
    chunk_frame = 12, /* a chunk's length, name and checksum */
    header_size = 13,
    zlib_frame = 6, /* its head and its checksum */
    picture_limit = 8192
};

static const unsigned char signature[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};

static unsigned char* put_word(unsigned char* to, uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8)
        *to++ = (unsigned char)(value >> shift);
    return to;
}

static unsigned char* put_bytes(unsigned char* to, const void* bytes, size_t size) {
    memcpy(to, bytes, size);
    return to + size;
}

/* The length and the name of a chunk; its data follows, then end_chunk(). */
static unsigned char* begin_chunk(unsigned char* to, const char* name, size_t size) {
    return put_bytes(put_word(to, (uint32_t)size), name, 4);
}

static unsigned char* end_chunk(unsigned char* end, size_t size) {
    const size_t checked = size + 4;
    return put_word(end, ombrel_crc32_ieee_802_3(0, 0, end - checked, checked));
}

/* ---- the zlib stream ---- */

typedef struct {
    unsigned char* to;
    size_t left;          /* bytes of the whole stream that are still to come */
    size_t left_in_block; /* bytes of the block in hand that are still to come */
    uint32_t low, high;   /* the two sums of the checksum */
} stored_stream_t;

static size_t stored_size(size_t size) {
    const size_t blocks = (size + block_limit - 1) / block_limit;
    return zlib_frame + blocks * block_head + size;
}

static void begin_block(stored_stream_t* stream) {
    const size_t size = stream->left < block_limit ? stream->left : block_limit;
    *stream->to++ = size == stream->left; /* the last one */
    *stream->to++ = (unsigned char)size;
    *stream->to++ = (unsigned char)(size >> 8);
    *stream->to++ = (unsigned char)~size;
    *stream->to++ = (unsigned char)(~size >> 8);
    stream->left_in_block = size;
}

static void put_stored(stored_stream_t* stream, unsigned char byte) {
    if (stream->left_in_block == 0)
        begin_block(stream);
    *stream->to++ = byte;
    stream->left--;
    stream->left_in_block--;
    stream->low += byte;
    stream->high += stream->low;
}

/* To be called at least every 5552 bytes, before the sums overflow. */
static void reduce_sums(stored_stream_t* stream) {
    stream->low %= 65521;
    stream->high %= 65521;
}

static void put_row(stored_stream_t* stream, const unsigned char* pixels, uint32_t width) {
    put_stored(stream, 0); /* no filter */
    for (uint32_t x = 0; x < width; x++, pixels += 4) {
        for (int channel = 2; channel >= 0; channel--)
            put_stored(stream, pixels[channel]);
        if (x % 1024 == 0)
            reduce_sums(stream);
    }
    reduce_sums(stream);
}

static unsigned char* put_pixels(unsigned char* to, const ombrel_bitmap_t* picture, size_t raw_size) {
    stored_stream_t stream = {to, raw_size, 0, 1, 0};
    *stream.to++ = 0x78;
    *stream.to++ = 0x01;
    for (uint32_t y = 0; y < picture->m_resy; y++)
        put_row(&stream, (const unsigned char*)picture->m_map + (size_t)y * picture->m_line_length,
                picture->m_resx);
    return put_word(stream.to, stream.high << 16 | stream.low);
}

/* ---- the document ---- */

static unsigned char* encode(const ombrel_bitmap_t* picture, size_t* size) {
    const size_t raw_size = picture->m_resy * (1 + (size_t)picture->m_resx * bytes_per_pixel);
    const size_t data_size = stored_size(raw_size);
    *size = sizeof signature + 3 * chunk_frame + header_size + data_size;
    unsigned char* document = ombrel_alloc(*size);
    if (document == NULL)
        return NULL;
    unsigned char* to = put_bytes(document, signature, sizeof signature);
    to = put_word(begin_chunk(to, "IHDR", header_size), picture->m_resx);
    to = put_word(to, picture->m_resy);
    to = put_bytes(to, "\x08\x02\x00\x00\x00", 5); /* 8 bits a channel, in colour */
    to = end_chunk(to, header_size);
    to = put_pixels(begin_chunk(to, "IDAT", data_size), picture, raw_size);
    to = end_chunk(to, data_size);
    end_chunk(begin_chunk(to, "IEND", 0), 0);
    return document;
}

unsigned char* png_encode(ombrel_fbmap_t* map, size_t* size) {
    ombrel_bitmap_t picture = {0};
    picture.m_color_interface =
        def_ombrel_color_interface_argb8888; /* whose bytes are blue, green, red and alpha */
    picture.m_resx = ombrel_fbmap_get_resx(map);
    picture.m_resy = ombrel_fbmap_get_resy(map);
    if (picture.m_resx - 1 >= picture_limit || picture.m_resy - 1 >= picture_limit)
        return NULL;
    picture.m_line_length = picture.m_resx * 4;
    picture.m_map = ombrel_alloc((size_t)picture.m_line_length * picture.m_resy);
    unsigned char* document = NULL;
    if (picture.m_map != NULL && ombrel_fbmap_get_box(map, &picture, 0, 0, 0, 0, picture.m_resx,
                                                      picture.m_resy, def_ombrel_fbmap_plain) == 0)
        document = encode(&picture, size);
    ombrel_check_free(picture.m_map);
    return document;
}
