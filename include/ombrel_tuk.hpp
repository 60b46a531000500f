/**
 * @file ombrel_tuk.hpp
 * @brief libombrel_tuk as C++17 and later has it, in the namespace `ombrel`; docs/cpp.md shows how it is
 * used.
 *
 * Everything here forwards to the C functions, which stay beside it: an object's `get()` is what they take.
 */
#ifndef OMBREL_TUK_HPP
#define OMBREL_TUK_HPP

#include <ombrel_tuk.h>

#include <ombrel/cpp/buffer.hpp>
#include <ombrel/cpp/callable.hpp>
#include <ombrel/cpp/context.hpp>
#include <ombrel/cpp/document.hpp>
#include <ombrel/cpp/error.hpp>
#include <ombrel/cpp/event.hpp>
#include <ombrel/cpp/file.hpp>
#include <ombrel/cpp/format.hpp>
#include <ombrel/cpp/graphics.hpp>
#include <ombrel/cpp/lock.hpp>
#include <ombrel/cpp/network.hpp>
#include <ombrel/cpp/objects.hpp>
#include <ombrel/cpp/owner.hpp>
#include <ombrel/cpp/scan.hpp>
#include <ombrel/cpp/service.hpp>
#include <ombrel/cpp/text.hpp>
#include <ombrel/cpp/value.hpp>

#endif
