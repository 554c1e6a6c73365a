// table - tables that fit the terminal, and what is known about the terminal.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace acctl {

struct Screen {
    bool terminal = false;   // standard output is one
    bool colour = false;     // a terminal, and neither NO_COLOR nor --no-color is against it
    std::size_t columns = 0; // 0: no limit
    std::size_t lines = 0;   // 0: no limit
};
Screen look_at_screen(bool want_colour);

enum class Paint { plain, good, bad, warn, dim, bold };
std::string painted(const std::string& text, Paint paint, bool colour);

struct Column {
    std::string title;
    bool right = false;    // numbers
    std::size_t least = 0; // may be cut to that many columns; 0: is never cut
    int drop = 0;          // where space is short, the highest goes first; 0: never goes
};

struct Cell {
    std::string text; // safe for a terminal, see `shown`
    Paint paint = Paint::plain;
};

class Table {
public:
    explicit Table(std::vector<Column> columns) : columns_(std::move(columns)) {}
    void add(std::vector<Cell> row); // a cell for each column
    // Lines of at most that many columns (0: as wide as it gets): texts are cut first, then columns left out.
    std::vector<std::string> lines(std::size_t columns, bool colour) const;
    std::string text(const Screen& screen) const;
    bool empty() const { return rows_.empty(); }

private:
    std::vector<Column> columns_;
    std::vector<std::vector<Cell>> rows_;
};

} // namespace acctl
