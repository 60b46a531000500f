// A program in a terminal that a test plays.
#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/fault.h>
#include <ombrel/pseudo_terminal.h>

#include "support/no_copy.h"
#include "support/patience.h"

namespace ombrel_test {

class in_terminal : no_copy {
public:
    explicit in_terminal(std::vector<const char*> arguments,
                         const ombrel_pseudo_terminal_options_t* options = nullptr) {
        arguments.push_back(nullptr);
        terminal_ = ombrel_open_pseudo_terminal(arguments.data(), options);
        EXPECT_NE(nullptr, terminal_) << arguments[0] << ": " << ombrel_fault_text();
    }
    ~in_terminal() { ombrel_close_pseudo_terminal(terminal_); }

    ombrel_pseudo_terminal_t* get() const { return terminal_; }
    /// All that was shown so far.
    const std::string& shown() const { return shown_; }

    /// Reads until a text is shown behind what was looked for before; an empty one stands for the end. What
    /// is in between is given.
    std::string expect(const std::string& text) {
        size_t found;
        while ((found = text.empty() ? shown_.npos : shown_.find(text, seen_)) == shown_.npos)
            if (!read_more()) {
                EXPECT_TRUE(text.empty()) << "\"" << text << "\" was not shown:\n" << shown_;
                found = shown_.size();
                break;
            }
        const std::string between = shown_.substr(seen_, found - seen_);
        seen_ = std::min(shown_.size(), found + text.size());
        return between;
    }

    void type(const std::string& text) {
        EXPECT_EQ(static_cast<int64_t>(text.size()),
                  ombrel_pseudo_terminal_write(terminal_, text.data(), text.size(), patience_ms));
    }

    /// The exit code, or the signal with 128 added, as shells tell it.
    int finish() {
        expect("");
        ombrel_process_end_t end = {-1, 0};
        EXPECT_EQ(1, ombrel_pseudo_terminal_wait(terminal_, patience_ms, &end));
        return end.m_exit_code >= 0 ? end.m_exit_code : 128 + end.m_signal;
    }

private:
    bool read_more() {
        char part[512];
        const int64_t bytes = ombrel_pseudo_terminal_read(terminal_, part, sizeof part, patience_ms);
        EXPECT_LE(0, bytes);
        shown_.append(part, static_cast<size_t>(std::max<int64_t>(bytes, 0)));
        return bytes > 0;
    }

    ombrel_pseudo_terminal_t* terminal_;
    std::string shown_;
    size_t seen_ = 0;
};

} // namespace ombrel_test
