// Starting children at the seam.
#pragma once

#include "platform/process.h"
#include "platform/seam_support.h"

namespace ombrel_test {

/// Leading a group, with an empty input and the output of this process for -1. A command line starts the
/// interpreter.
template<typename Program>
int start_child(const Program& program, int input = -1, int output = -1) {
    const int descriptors[] = {input >= 0 ? input : platform::empty_stream, output, platform::kept_stream};
    platform::process_plan plan;
    plan.descriptors = descriptors;
    plan.descriptor_count = 3;
    platform::process_part failed;
    if constexpr (std::is_constructible_v<std::string, Program>)
        return platform::start_command(std::string(program).c_str(), plan, failed);
    else {
        plan.arguments = program;
        return platform::start_process(plan, failed);
    }
}

} // namespace ombrel_test
