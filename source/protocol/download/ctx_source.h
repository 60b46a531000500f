// Sources that contexts open.
#pragma once

#include "context/ctx_guard.h"
#include "protocol/download/download_source.h"

namespace ombrel::protocol {

/// Makes the context's last error the transfer's.
source_end fail_by_ctx(const transfer& what, const context::ctx_guard& from);

/// Sets the options that all sources have; false when memory runs out.
bool prepare_ctx(const transfer& what, const context::ctx_guard& from);

/// Hands what the open context gives to the sink, up to its end.
source_end read_ctx(const transfer& what, const context::ctx_guard& from);

} // namespace ombrel::protocol
