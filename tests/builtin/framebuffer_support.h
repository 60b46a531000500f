// What the tests of frame-buffer contexts share.
#pragma once

#include <ombrel/fbmap.h>
#include <ombrel/framebuffer.h>

#include "plugins/plugin_support.h"
#include "support/descriptor_balance.h"

namespace ombrel_test {

inline ombrel_fbmap_t* root_of(int ctx) {
    ombrel_fb_root_t record = {nullptr};
    EXPECT_EQ(0, ombrel_ctx_control(ctx, def_ombrel_fb_control_get_root, &record, sizeof record));
    return record.m_root;
}

class Framebuffer : public balanced_test {
    descriptor_balance descriptors_;
};

} // namespace ombrel_test
