// Runs of ASCII, and characters counted, with several bytes in a vector. It is compiled once for each kind of
// vector, behind utf8_lanes.h.

namespace ombrel::charset {

namespace {

OMBREL_TARGET inline size_t ascii_run(const char* text, size_t size) {
    size_t at = 0;
    vector bytes[block_vectors];
    for (; size - at >= block; at += block) {
        load_block(bytes, text + at);
        if (lanes::has_high_bit(all_of(bytes)))
            break;
    }
    for (; size - at >= width; at += width)
        if (const vector next = lanes::load(text + at); lanes::has_high_bit(next))
            return at + lanes::first_high_bit(next);
    return at + ascii_run_plain(text + at, size - at);
}

OMBREL_TARGET inline size_t utf8_count(const char* text, size_t size) {
    size_t at = 0, count = 0;
    while (size - at >= width) {
        // Each byte of the vector counts up to 255.
        vector counts = lanes::all(0);
        const size_t rounds = std::min<size_t>((size - at) / width, 255);
        for (size_t i = 0; i < rounds; i++, at += width)
            counts = lanes::add_beginnings(counts, lanes::load(text + at));
        count += lanes::sum(counts);
    }
    return count + utf8_count_plain(text + at, size - at);
}

} // namespace

} // namespace ombrel::charset
