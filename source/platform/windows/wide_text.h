// Texts of the system, which are UTF-16, and ours, which are UTF-8.
#pragma once

#include <cstddef>

namespace ombrel::platform {

/// A text in one encoding made from the other, in place while it is short.
template<typename Unit, size_t inline_units>
class converted_text {
public:
    converted_text() = default;
    ~converted_text();
    converted_text(const converted_text&) = delete;
    converted_text& operator=(const converted_text&) = delete;

    /// False when it could not be made, with its fault left.
    explicit operator bool() const { return is_whole_; }
    /// Ended by 0; null when it could not be made.
    Unit* get() { return is_whole_ ? text_ : nullptr; }
    const Unit* get() const { return is_whole_ ? text_ : nullptr; }
    /// Without the end.
    size_t size() const { return size_; }

protected:
    /// Room for so many units and the end; null, with its fault, when there is no memory.
    Unit* make_room(size_t units);
    /// Makes it whole.
    void end_at(size_t units);

private:
    Unit* text_ = nullptr;
    size_t size_ = 0;
    bool is_whole_ = false;
    Unit inline_[inline_units];
};

/// UTF-16 from UTF-8; bytes that are no UTF-8 make it fail as "invalid", and so does null.
class wide_text : public converted_text<wchar_t, 280> {
public:
    explicit wide_text(const char* text);
    wide_text(const char* text, size_t size);

private:
    void convert(const char* text, size_t size);
};

/// UTF-8 from UTF-16; half characters become U+FFFD. Null makes it fail as "invalid".
class narrow_text : public converted_text<char, 300> {
public:
    explicit narrow_text(const wchar_t* text);
    narrow_text(const wchar_t* text, size_t size);

private:
    void convert(const wchar_t* text, size_t size);
};

/// A path for wide calls: "/" is a separator too, and a path too long for the old limit, once made absolute,
/// gets the prefix that lifts it.
class wide_path : public converted_text<wchar_t, 280> {
public:
    explicit wide_path(const char* path);

private:
    void take(const wchar_t* prefix, const wchar_t* path, size_t size);
    void lift_limit(const wchar_t* path);
};

} // namespace ombrel::platform
