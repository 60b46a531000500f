#include "graphics/pixel/kernels/arm/neon.h"
#include "graphics/pixel/kernels/generic/plain.h"
#include "graphics/pixel/kernels/kernels.h"
#include "graphics/pixel/kernels/x86/x86.h"
#include "platform/processor.h"

namespace ombrel::graphics {

namespace {

using namespace platform;

constexpr candidate<fill_kernel> fill16_list[] = {
#if defined(OMBREL_X86_GRAPHICS)
    {"avx2", x86_avx2, fill16_avx2},
#endif
    {"plain", 0, fill16_plain},
};
constexpr candidate<fill_kernel> fill24_list[] = {
    {"plain", 0, fill24_plain},
};
constexpr candidate<fill_kernel> fill32_list[] = {
#if defined(OMBREL_X86_GRAPHICS)
    {"avx2", x86_avx2, fill32_avx2},
#endif
    {"plain", 0, fill32_plain},
};
constexpr candidate<copy_kernel> copy_list[] = {
#if defined(OMBREL_X86_GRAPHICS)
    {"avx2", x86_avx2, copy_avx2},
#endif
    {"plain", 0, copy_plain},
};
constexpr candidate<widen_kernel> widen_list[] = {
#if defined(OMBREL_X86_GRAPHICS)
    {"avx2", x86_avx2, widen_avx2},
#elif defined(OMBREL_NEON_GRAPHICS)
    {"neon", 0, widen_neon},
#endif
    {"plain", 0, widen_plain},
};
constexpr candidate<narrow_kernel> narrow_list[] = {
#if defined(OMBREL_X86_GRAPHICS)
    {"avx2", x86_avx2, narrow_avx2},
#elif defined(OMBREL_NEON_GRAPHICS)
    {"neon", 0, narrow_neon},
#endif
    {"plain", 0, narrow_plain},
};
constexpr candidate<glyph_kernel> glyph8_list[] = {
    {"plain", 0, glyph8_plain},
};
constexpr candidate<glyph_kernel> glyph16_list[] = {
#if defined(OMBREL_X86_GRAPHICS)
    {"avx2", x86_avx2, glyph16_avx2},
#endif
    {"plain", 0, glyph16_plain},
};
constexpr candidate<glyph_kernel> glyph24_list[] = {
    {"plain", 0, glyph24_plain},
};
constexpr candidate<glyph_kernel> glyph32_list[] = {
#if defined(OMBREL_X86_GRAPHICS)
    {"avx2", x86_avx2, glyph32_avx2},
#endif
    {"plain", 0, glyph32_plain},
};
constexpr candidate<blend_kernel> blend_list[] = {
#if defined(OMBREL_X86_GRAPHICS)
    {"avx2", x86_avx2, blend_avx2},
    {"ssse3", x86_ssse3, blend_ssse3},
#elif defined(OMBREL_NEON_GRAPHICS)
    {"neon", 0, blend_neon},
#endif
    {"plain", 0, blend_plain},
};
constexpr candidate<gather_kernel> gather32_list[] = {
#if defined(OMBREL_X86_GRAPHICS)
    {"avx2", x86_avx2, gather32_avx2},
#elif defined(OMBREL_NEON_GRAPHICS)
    {"neon", 0, gather32_neon},
#endif
    {"plain", 0, gather32_plain},
};
constexpr candidate<reverse_kernel> reverse32_list[] = {
#if defined(OMBREL_X86_GRAPHICS)
    {"avx2", x86_avx2, reverse32_avx2},
#elif defined(OMBREL_NEON_GRAPHICS)
    {"neon", 0, reverse32_neon},
#endif
    {"plain", 0, reverse32_plain},
};
constexpr candidate<turn_kernel> turn32_list[] = {
#if defined(OMBREL_X86_GRAPHICS)
    {"avx2", x86_avx2, turn32_avx2},
#elif defined(OMBREL_NEON_GRAPHICS)
    {"neon", 0, turn32_neon},
#endif
    {"plain", 0, turn32_plain},
};
constexpr candidate<mix_columns_kernel> mix_columns_list[] = {
#if defined(OMBREL_X86_GRAPHICS)
    {"avx2", x86_avx2, mix_columns_avx2},
#elif defined(OMBREL_NEON_GRAPHICS)
    {"neon", 0, mix_columns_neon},
#endif
    {"plain", 0, mix_columns_plain},
};
constexpr candidate<mix_rows_kernel> mix_rows_list[] = {
#if defined(OMBREL_X86_GRAPHICS)
    {"avx2", x86_avx2, mix_rows_avx2},
#elif defined(OMBREL_NEON_GRAPHICS)
    {"neon", 0, mix_rows_neon},
#endif
    {"plain", 0, mix_rows_plain},
};
constexpr candidate<weigh_rows_kernel> weigh_rows_list[] = {
#if defined(OMBREL_X86_GRAPHICS)
    {"avx2", x86_avx2, weigh_rows_avx2},
#elif defined(OMBREL_NEON_GRAPHICS)
    {"neon", 0, weigh_rows_neon},
#endif
    {"plain", 0, weigh_rows_plain},
};

} // namespace

constinit const kernel_candidates all_kernels = {
    fill16_list,    fill24_list,  fill32_list,      copy_list,     widen_list,     narrow_list,
    glyph8_list,    glyph16_list, glyph24_list,     glyph32_list,  blend_list,     gather32_list,
    reverse32_list, turn32_list,  mix_columns_list, mix_rows_list, weigh_rows_list};

} // namespace ombrel::graphics
