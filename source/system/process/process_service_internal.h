// What the two sides of a service in a process agree on, and its object on either.
#pragma once

#include <atomic>
#include <cstddef>

#include <ombrel/process.h>
#include <ombrel/process_service.h>

#include "system/process/owned_descriptor.h"
#include "system/process/start_word.h"

struct ombrel_process_service_ts {
    ombrel_process_t* child = nullptr; ///< the opener's; null on the child's side
    int grace_ms = 0;

    /// The opener's end says by a byte, or by its close, that the child is to stop; the child reads the
    /// other.
    std::atomic<int> life = -1;
    ombrel::system::owned_descriptor word; ///< the child's, until it has given its word
};

namespace ombrel::system {

/// The variable by which a process knows that it is a service, and how it is called.
inline constexpr char service_variable[] = "OMBREL_PROCESS_SERVICE";
inline constexpr char service_variable_assignment[] = "OMBREL_PROCESS_SERVICE=";

/// The descriptors that the child finds.
enum service_descriptor : int {
    first_service_descriptor = 3,
    service_word_descriptor = first_service_descriptor,
    service_life_descriptor,
};
inline constexpr size_t service_descriptor_count = 2;

} // namespace ombrel::system
