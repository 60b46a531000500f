/**
 * @file ombrel_tuk.h
 * @brief The whole interface of libombrel_tuk.
 */
#ifndef OMBREL_TUK_H
#define OMBREL_TUK_H

#include <ombrel/address.h>
#include <ombrel/aes.h>
#include <ombrel/alloca.h>
#include <ombrel/assert.h>
#include <ombrel/atomic.h>
#include <ombrel/base64.h>
#include <ombrel/buffer.h>
#include <ombrel/builtin_plugin.h>
#include <ombrel/cipher_mode.h>
#include <ombrel/crc.h>
#include <ombrel/ctx.h>
#include <ombrel/ctx_interface.h>
#include <ombrel/ctype.h>
#include <ombrel/des.h>
#include <ombrel/dl.h>
#include <ombrel/dump.h>
#include <ombrel/event.h>
#include <ombrel/event_base.h>
#include <ombrel/event_buffer.h>
#include <ombrel/exception.h>
#include <ombrel/export.h>
#include <ombrel/file_lock.h>
#include <ombrel/global_break.h>
#include <ombrel/heap.h>
#include <ombrel/linked_list.h>
#include <ombrel/lock.h>
#include <ombrel/lock_condition.h>
#include <ombrel/md5.h>
#include <ombrel/memory.h>
#include <ombrel/multicast.h>
#include <ombrel/network.h>
#include <ombrel/network_interface.h>
#include <ombrel/output.h>
#include <ombrel/path.h>
#include <ombrel/pattern.h>
#include <ombrel/percent.h>
#include <ombrel/pipe.h>
#include <ombrel/plugin.h>
#include <ombrel/printf.h>
#include <ombrel/progress.h>
#include <ombrel/quoted_printable.h>
#include <ombrel/regular.h>
#include <ombrel/replace_string.h>
#include <ombrel/resolver.h>
#include <ombrel/resolver_cache.h>
#include <ombrel/scan.h>
#include <ombrel/seed.h>
#include <ombrel/select.h>
#include <ombrel/service.h>
#include <ombrel/sha1.h>
#include <ombrel/sha256.h>
#include <ombrel/short_lock.h>
#include <ombrel/signal.h>
#include <ombrel/slab.h>
#include <ombrel/socket.h>
#include <ombrel/socket_open.h>
#include <ombrel/spin_lock.h>
#include <ombrel/stack.h>
#include <ombrel/string.h>
#include <ombrel/string_node.h>
#include <ombrel/terminal.h>
#include <ombrel/thread.h>
#include <ombrel/time.h>
#include <ombrel/timer.h>
#include <ombrel/trivial.h>
#include <ombrel/uri.h>
#include <ombrel/value.h>
#include <ombrel/version.h>
#include <ombrel/word.h>

#endif
