// Where a writer's bytes go: a buffer chain or the caller's handler, in the encoding that was chosen.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include <ombrel/buffer.h>
#include <ombrel/xml_writer.h>

namespace ombrel::document {

class xml_output {
public:
    enum class outcome { good, refused, unencodable };

    xml_output(ombrel_buffer_t* buffer, ombrel_xml_writer_handler_t handler, void* context, int charset)
        : buffer_(buffer), handler_(handler), context_(context), charset_(charset) {}
    xml_output(const xml_output&) = delete;
    xml_output& operator=(const xml_output&) = delete;

    /// Valid UTF-8. Characters that the encoding lacks become references where they may.
    outcome put(std::string_view text, bool may_refer = false);
    outcome fill(char c, size_t count);
    outcome flush();

    /// Whether the encoding has all characters of a text.
    bool can_encode(std::string_view text) const;
    bool is_utf8() const;
    int charset() const { return charset_; }
    int64_t size() const { return handed_ + static_cast<int64_t>(held_); }
    /// What the handler returned when it refused; -1 for the chain.
    int refusal() const { return refusal_; }

private:
    outcome put_bytes(const void* bytes, size_t size);
    outcome put_reference(uint32_t code);
    outcome put_encoded(std::string_view text, bool may_refer);
    outcome hand_on(const void* bytes, size_t size);

    static constexpr size_t room = 4096;

    ombrel_buffer_t* buffer_;
    ombrel_xml_writer_handler_t handler_;
    void* context_;
    int charset_;
    bool has_begun_ = false;
    int refusal_ = 0;
    int64_t handed_ = 0;
    size_t held_ = 0;
    char block_[room];
};

} // namespace ombrel::document
