/// @file
/// Tables for the terminal.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

struct libscols_column;
struct libscols_line;
struct libscols_table;

namespace qzagent
{
/// A table. The cells are shown in printable form, so none can control the terminal.
class Table
{
public:
    enum class Fit
    {
        left,
        right,
        wrapped,  ///< left, and wrapped to several lines when it is too wide
        words,  ///< as wrapped, but after a comma, else at a blank, if a word is not wider than the column. Only for the
        ///< last column
        tree  ///< left, after lines that connect it with its parent row
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
        char const* mColour;  ///< name of the colour, such as "red"; null for none
    };

    enum class Width
    {
        page,      ///< at most 100 characters
        unlimited  ///< each row is one line, however long
    };

    /// @param aColoured whether colours are shown
    Table(std::vector<Column> const& aColumns, bool aColoured, Width aWidth = Width::page);
    ~Table();
    Table(Table const&) = delete;
    Table& operator=(Table const&) = delete;

    /// A row, which the table owns.
    using Row = libscols_line*;

    /// @param aCells  one for each column
    /// @param aParent parent row in the tree; null for none
    Row addRow(std::vector<Cell> const& aCells, Row aParent = nullptr);

    /// Leaves out the names of the columns.
    void hideNames();

    /// @return the table as text
    /// @throws std::bad_alloc when memory is exhausted, as do all methods
    std::string text();

private:
    std::string print() const;
    void wrapWords(std::size_t aWidth);

    libscols_table* mTable;
    libscols_column* mWords = nullptr;  ///< the column that is wrapped between words
    std::vector<std::size_t> mWidths;   ///< of the widest text in each column
};
}  // namespace qzagent
