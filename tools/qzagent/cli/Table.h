/// @file
/// Tables for the terminal.
#pragma once

#include <string>
#include <vector>

struct libscols_line;
struct libscols_table;

namespace qzagent
{
/// A table of at most 100 columns of text, in which no cell can do more than be shown: what the locale cannot
/// print stands there as \xNN.
class Table
{
public:
    enum class Fit
    {
        left,
        right,
        wrapped,  ///< left, and broken into several lines when there is no room
        tree      ///< left, behind lines that lead to it from the row above it in the tree
    };

    struct Column
    {
        char const* mName;
        Fit mFit;
    };

    struct Cell
    {
        Cell(std::string aText, char const* aColour = nullptr);

        std::string mText;
        char const* mColour;  ///< as terminals name it ("red"); null for none
    };

    /// @param aColoured whether colours are shown
    Table(std::vector<Column> const& aColumns, bool aColoured);
    ~Table();
    Table(Table const&) = delete;
    Table& operator=(Table const&) = delete;

    /// A row of the table, which owns it.
    using Row = libscols_line*;

    /// @param aCells  one for each column
    /// @param aParent the row above it in the tree; null for none
    Row addRow(std::vector<Cell> const& aCells, Row aParent = nullptr);

    std::string text() const;

private:
    libscols_table* mTable;
};
}  // namespace qzagent
