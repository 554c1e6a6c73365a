// host_command - a command line formed from a format and arguments nobody trusts.
//
// The format is the code's own and speaks to the shell: blanks, redirections, pipes, "&". An argument is data: it never
// ends a word, and every word that holds one goes to the shell in quotes. A word is what stands between two blanks or
// operators of the format, made of the format's characters and of arguments.
//
// An absolute path is moved below AC_ROOT. With a "*" in its last component it is a pattern: the names in its folder
// that match take its place, each quoted, in order; where none does the pattern stays as it is, as in a shell. "?", "["
// and "\" are plain characters. The name of the program is the shell's to find and isn't moved, nor is "/dev/null".
//
// Refused: ".." that leads above the root, a pattern whose folder holds a "..", a line or a word that is too long,
// conversions other than %s %d %u %x %c %%, and a format with quotes of its own, within which ours would open.
//
// Threads  a command belongs to one thread.
#pragma once

#include <climits>
#include <cstdarg>
#include <string_view>

#include "common/ac_types.h"

// A text that knows its end; what doesn't fit is dropped and remembered.
template <std::size_t SIZE> class host_text {
public:
    host_text() { text_[0] = '\0'; }
    void put(char c)
    {
        if (used_ + 1 >= SIZE) {
            cut_ = true;
            return;
        }
        text_[used_++] = c;
        text_[used_] = '\0';
    }
    void put(std::string_view text)
    {
        for (const char c : text)
            put(c);
    }
    // Puts `c` last, in place of what stands there if there is no room.
    void end_with(char c)
    {
        if (used_ + 1 >= SIZE) used_--;
        put(c);
    }
    void clear()
    {
        used_ = 0;
        text_[0] = '\0';
    }
    bool cut() const { return cut_; }
    std::size_t size() const { return used_; }
    char* c_str() { return text_; }
    std::string_view view() const { return {text_, used_}; }

private:
    std::size_t used_ = 0;
    bool cut_ = false;
    char text_[SIZE];
};

class host_command {
public:
    void form(const char* format, va_list arguments);

    std::string_view journal_line() const { return journal_.view(); } // one line, ended; line feeds inside as "\n"
    char* shell_line() { return line_.c_str(); }
    // Commands for the host itself, which a system in a root of its own must leave alone: et, arp, killall, iptables
    // and what names a file below /proc.
    bool touches_host() const { return touches_host_; }
    const char* refused() const { return refused_; } // why it must not be run, or null

private:
    static constexpr std::size_t LINE_MAX_BYTES = 120000; // below what the kernel takes as one argument
    static constexpr std::size_t JOURNAL_MAX_BYTES = 8192;

    const char* convert(const char* at, va_list* arguments);
    void add_format_char(char c);
    void add_argument(std::string_view text, int width);
    void add_journal_char(char c);
    void end_word();
    void emit_quoted(std::string_view text);
    void emit_path(const char* path);
    void emit_pattern(const char* path);
    void refuse(const char* why);

    host_text<LINE_MAX_BYTES> line_;
    host_text<JOURNAL_MAX_BYTES> journal_;
    host_text<PATH_MAX> word_;
    bool word_holds_argument_ = false;
    bool at_program_ = true; // the next word names a program
    bool at_target_ = false; // the next word is the file of a redirection
    bool touches_host_ = false;
    const char* refused_ = nullptr;
};
