// Command lines formed from arguments that nobody trusts. No shell is run: the line is taken apart by the shell's
// rules, and each argument must come out as it went in.
//
// Input: a byte that picks a format, then up to three texts, each ended by a zero byte.
#include <algorithm>
#include <cstdarg>
#include <fstream>
#include <new>
#include <optional>
#include <string_view>

#include "fuzz_world.h"
#include "platform/ac_platform.h"
#include "platform/host/host_command.h"

namespace {

// `words` says what the shell must see, operators among them; %1 to %3 are the texts.
struct shell_format {
    const char* format;
    std::vector<const char*> words;
};

const shell_format g_formats[] = {
    {"rm -fr %s", {"rm", "-fr", "%1"}},
    {"arp -s %s %s", {"arp", "-s", "%1", "%2"}},
    {"echo %s > /tmp/x%s", {"echo", "%1", ">", "/tmp/x%2"}},
    {"cp %s /var/%s_image; sync", {"cp", "%1", "/var/%2_image", ";", "sync"}},
    {"wget -q http://%s/%s -O %s &", {"wget", "-q", "http://%1/%2", "-O", "%3", "&"}},
    {"a %sb%s c%sd", {"a", "%1b%2", "c%3d"}},
    {"tar -C %s -xf %s %s", {"tar", "-C", "%1", "-xf", "%2", "%3"}},
    {"cat %s | sort > %s && echo %s", {"cat", "%1", "|", "sort", ">", "%2", "&", "&", "echo", "%3"}},
};

struct shell_inputs {
    std::array<std::string, 3> texts;
};

std::string expand(std::string_view word, const shell_inputs& inputs)
{
    std::string text;
    for (std::size_t i = 0; i < word.size(); i++) {
        if (word[i] == '%' && i + 1 < word.size())
            text += inputs.texts[static_cast<std::size_t>(word[++i] - '1')];
        else
            text += word[i];
    }
    return text;
}

// --- the shell's side ------------------------------------------------------------------------------------------------

struct shell_word {
    std::string text;
    bool is_operator;
};

bool is_any_of(char c, std::string_view characters)
{
    return characters.find(c) != std::string_view::npos;
}

// Reads one word; false where it holds anything outside quotes to which a shell gives a meaning.
bool read_word(std::string_view& line, std::string& word)
{
    while (!line.empty() && !is_any_of(line[0], " \t\n;|&<>()")) {
        const char c = line[0];
        line.remove_prefix(1);
        if (c == '\'') {
            const std::size_t end = line.find('\'');
            if (end == std::string_view::npos) return false;
            word += line.substr(0, end);
            line.remove_prefix(end + 1);
        } else if (c == '\\') {
            if (line.empty() || line[0] == '\n') return false;
            word += line[0];
            line.remove_prefix(1);
        } else if (is_any_of(c, "$`\"*?[#~!{}")) {
            return false;
        } else {
            word += c;
        }
    }
    return true;
}

std::optional<std::vector<shell_word>> shell_words(std::string_view line)
{
    std::vector<shell_word> words;
    while (!line.empty()) {
        const char c = line[0];
        if (is_any_of(c, " \t")) {
            line.remove_prefix(1);
        } else if (is_any_of(c, ";|&<>")) {
            words.push_back({std::string(1, c), true});
            line.remove_prefix(1);
        } else if (is_any_of(c, "\n()")) {
            return std::nullopt; // no format of ours has one
        } else {
            std::string word;
            if (!read_word(line, word)) return std::nullopt;
            words.push_back({word, false});
        }
    }
    return words;
}

// --- comparison ------------------------------------------------------------------------------------------------------

// Paths that mean the same on every machine.
bool is_of_the_machine(const std::string& word)
{
    return word == "/dev/null" || word.starts_with("/proc/");
}

bool is_pattern(const std::string& word)
{
    return !is_of_the_machine(word) && word.starts_with('/') && word.find('*', word.rfind('/')) != std::string::npos;
}

// A file that a pattern stands for lies in the pattern's own folder.
bool in_folder_of(const std::string& file, const std::string& pattern)
{
    const std::string folder = pattern.substr(0, pattern.rfind('/') + 1);
    return file.starts_with(folder) && file.find('/', folder.size()) == std::string::npos;
}

std::string moved(const std::string& word)
{
    if (!word.starts_with('/') || is_of_the_machine(word)) return word;
    return ac_path(word.c_str()).c_str();
}

// Word by word; a pattern may have become several, as long as each word that follows it finds its own.
void check_words(const std::vector<shell_word>& seen, const shell_format& format, const shell_inputs& inputs)
{
    std::size_t at = 0;
    for (std::size_t i = 0; i < format.words.size(); i++) {
        const std::string_view raw = format.words[i];
        const std::string word = expand(raw, inputs);
        const bool is_operator = raw.size() == 1 && is_any_of(raw[0], ";|&<>");
        fuzz_require(at < seen.size(), "no argument swallows what follows it");
        fuzz_require(seen[at].is_operator == is_operator, "operators are the format's own");
        if (i == 0 || !is_pattern(word)) {
            fuzz_require(seen[at++].text == (i == 0 ? word : moved(word)), "an argument arrives as it is");
            continue;
        }
        const std::size_t behind = format.words.size() - i - 1;
        do
            fuzz_require(in_folder_of(seen[at++].text, moved(word)), "a pattern stays in its folder");
        while (at + behind < seen.size() && !seen[at].is_operator && in_folder_of(seen[at].text, moved(word)));
    }
    fuzz_require(at == seen.size(), "no argument becomes two");
}

void form(host_command& command, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    command.form(format, arguments);
    va_end(arguments);
}

void check_journal(std::string_view line)
{
    fuzz_require(line.find('\n') == line.size() - 1, "the journal has one line per command");
}

// Names that a shell would trip over stand where patterns may find them.
void make_files()
{
    static bool made = false;
    if (made) return;
    made = true;
    for (const char* name : {"/var/a", "/var/b c", "/var/'q'", "/var/$HOME", "/var/-rf", "/tmp/x*", "/etc/new\nline"})
        std::ofstream(ac_path(name).c_str()) << "x";
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const UINT8* data, std::size_t size)
{
    fuzz_world_reset();
    make_files();
    wire_reader in{{data, size}};
    const shell_format& format = g_formats[wire_take<UINT8>(in) % std::size(g_formats)];
    shell_inputs inputs;
    for (std::string& text : inputs.texts) {
        const auto end = std::find(in.left.begin(), in.left.end(), UINT8{0});
        text = fuzz_take_text(in, static_cast<std::size_t>(end - in.left.begin()));
        (void)fuzz_take_bytes(in, 1);
    }
    alignas(host_command) static UINT8 memory[sizeof(host_command)]; // too large to be made afresh each time
    auto* command = new (memory) host_command;
    form(*command, format.format, inputs.texts[0].c_str(), inputs.texts[1].c_str(), inputs.texts[2].c_str());
    check_journal(command->journal_line());
    if (command->refused() != nullptr) return 0;
    const auto seen = shell_words(command->shell_line());
    fuzz_require(seen.has_value(), "nothing but the format speaks to the shell");
    check_words(*seen, format, inputs);
    return 0;
}
