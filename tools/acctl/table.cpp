#include "table.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <numeric>
#include <optional>

#include "text.h"

namespace acctl {

namespace {

constexpr std::size_t gap = 2; // blanks between two columns

struct Chosen {
    std::size_t index; // of the column
    std::size_t width;
};

std::size_t total(const std::vector<Chosen>& chosen)
{
    return std::accumulate(chosen.begin(), chosen.end(), chosen.empty() ? 0 : (chosen.size() - 1) * gap,
                           [](std::size_t sum, const Chosen& c) { return sum + c.width; });
}

// Takes columns from the widest that may still be cut, until all fit or none is left to cut.
void shrink(std::vector<Chosen>& chosen, const std::vector<Column>& columns, std::size_t limit)
{
    while (total(chosen) > limit) {
        Chosen* widest = nullptr;
        for (Chosen& c : chosen) {
            const std::size_t least = columns[c.index].least;
            if (least == 0 || c.width <= least) continue;
            if (widest == nullptr || c.width > widest->width) widest = &c;
        }
        if (widest == nullptr) return;
        widest->width--;
    }
}

std::optional<std::size_t> next_to_drop(const std::vector<Chosen>& chosen, const std::vector<Column>& columns)
{
    std::optional<std::size_t> next;
    for (std::size_t i = 0; i < chosen.size(); i++)
        if (columns[chosen[i].index].drop > (next ? columns[chosen[*next].index].drop : 0)) next = i;
    return next;
}

std::vector<Chosen> fit(const std::vector<Column>& columns, const std::vector<std::size_t>& natural, std::size_t limit)
{
    std::vector<Chosen> kept;
    for (std::size_t i = 0; i < columns.size(); i++)
        kept.push_back({i, natural[i]});
    while (limit != 0) {
        std::vector<Chosen> tried = kept;
        shrink(tried, columns, limit);
        const std::optional<std::size_t> drop = next_to_drop(kept, columns);
        if (total(tried) <= limit || !drop) return tried;
        kept.erase(kept.begin() + static_cast<std::ptrdiff_t>(*drop));
    }
    return kept;
}

std::string line_of(const std::vector<Chosen>& chosen, const std::vector<Column>& columns, const std::vector<Cell>& row,
                    bool colour)
{
    std::string line;
    for (std::size_t i = 0; i < chosen.size(); i++) {
        const Cell& cell = row[chosen[i].index];
        const std::string text = cut(cell.text, chosen[i].width);
        const std::string blanks(chosen[i].width - width(text), ' ');
        const bool right = columns[chosen[i].index].right;
        const bool last = i + 1 == chosen.size();
        line += (right ? blanks : "") + painted(text, cell.paint, colour) + (right || last ? "" : blanks) +
                (last ? "" : std::string(gap, ' '));
    }
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
}

std::size_t number_of(const char* text)
{
    const long value = text == nullptr ? 0 : std::strtol(text, nullptr, 10);
    return value > 0 && value < 10000 ? static_cast<std::size_t>(value) : 0;
}

} // namespace

Screen look_at_screen(bool want_colour)
{
    Screen screen;
    screen.terminal = isatty(STDOUT_FILENO) == 1;
    if (!screen.terminal) return screen;
    const char* no_color = std::getenv("NO_COLOR");
    const char* term = std::getenv("TERM");
    screen.colour = want_colour && (no_color == nullptr || *no_color == '\0') && term != nullptr &&
                    std::string_view(term) != "dumb";
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0) {
        screen.columns = size.ws_col;
        screen.lines = size.ws_row;
    }
    if (screen.columns == 0) screen.columns = number_of(std::getenv("COLUMNS"));
    if (screen.lines == 0) screen.lines = number_of(std::getenv("LINES"));
    return screen;
}

std::string painted(const std::string& text, Paint paint, bool colour)
{
    static const char* const codes[] = {"", "\x1b[32m", "\x1b[31m", "\x1b[33m", "\x1b[2m", "\x1b[1m"};
    if (!colour || paint == Paint::plain || text.empty()) return text;
    return codes[static_cast<std::size_t>(paint)] + text + "\x1b[0m";
}

void Table::add(std::vector<Cell> row)
{
    row.resize(columns_.size());
    rows_.push_back(std::move(row));
}

std::vector<std::string> Table::lines(std::size_t columns, bool colour) const
{
    std::vector<Cell> head;
    std::vector<std::size_t> natural;
    for (std::size_t i = 0; i < columns_.size(); i++) {
        head.push_back({columns_[i].title, Paint::bold});
        natural.push_back(width(columns_[i].title));
        for (const std::vector<Cell>& row : rows_)
            natural[i] = std::max(natural[i], width(row[i].text));
    }
    const std::vector<Chosen> chosen = fit(columns_, natural, columns);
    std::vector<std::string> out = {line_of(chosen, columns_, head, colour)};
    for (const std::vector<Cell>& row : rows_)
        out.push_back(line_of(chosen, columns_, row, colour));
    return out;
}

std::string Table::text(const Screen& screen) const
{
    std::string out;
    for (const std::string& line : lines(screen.columns, screen.colour))
        out += line + "\n";
    return out;
}

} // namespace acctl
