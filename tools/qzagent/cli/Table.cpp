#include "tools/qzagent/cli/Table.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cwchar>
#include <memory>
#include <new>
#include <numeric>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <libsmartcols/libsmartcols.h>

#include "tools/qzagent/cli/Printable.h"

namespace qzagent
{
namespace
{
constexpr std::size_t pageWidth = 100;
constexpr unsigned char endOfAscii = 0x80;

/// The library calls in this file fail only when memory is exhausted.
void check(bool aDone)
{
    if (!aDone)
    {
        throw std::bad_alloc();
    }
}

int flagsOf(Table::Fit aFit)
{
    switch (aFit)
    {
        case Table::Fit::right:
            return SCOLS_FL_RIGHT;
        case Table::Fit::wrapped:
        case Table::Fit::words:
            return SCOLS_FL_WRAP;
        case Table::Fit::tree:
            return SCOLS_FL_TREE;
        default:
            return 0;
    }
}

/// The beginning of a text.
struct Extent
{
    std::size_t mBytes = 0;
    std::size_t mWidth = 0;  ///< number of the columns that it takes on a terminal
};

/// @return the longest beginning of the printable text that is not wider than the limit; at least its first character
Extent extentOf(std::string_view aText, std::size_t aLimit = std::string_view::npos)
{
    Extent extent;
    std::mbstate_t state{};
    while (extent.mBytes < aText.size())
    {
        std::size_t size = 1;
        std::size_t width = 1;
        if (static_cast<unsigned char>(aText[extent.mBytes]) >= endOfAscii)
        {
            wchar_t character = 0;
            size =
                std::mbrtowc(&character, aText.data() + extent.mBytes, aText.size() - extent.mBytes, &state);
            width = static_cast<std::size_t>(::wcwidth(character));
        }
        if (extent.mBytes > 0 && extent.mWidth + width > aLimit)
        {
            break;
        }
        extent.mBytes += size;
        extent.mWidth += width;
    }
    return extent;
}

/// @return size in bytes of the first line of the text: as much as fits in the width, up to the last comma, else to the last
///         blank
std::size_t sizeOfLine(std::string_view aText, std::size_t aWidth)
{
    std::size_t const fitting = extentOf(aText, aWidth).mBytes;
    if (fitting == aText.size())
    {
        return fitting;
    }
    std::size_t const comma = aText.substr(0, fitting + 1).rfind(", ");
    std::size_t const blank = aText.rfind(' ', fitting);
    return comma != std::string_view::npos ? comma + 1 : std::min(blank, fitting);
}

/// @return the text with the ends of its lines
std::string wrapped(std::string_view aText, std::size_t aWidth)
{
    std::string lines;
    while (true)
    {
        std::size_t const size = sizeOfLine(aText, aWidth);
        lines += aText.substr(0, size);
        if (size == aText.size())
        {
            return lines;
        }
        lines += '\n';
        aText.remove_prefix(aText[size] == ' ' ? size + 1 : size);
    }
}
}  // namespace

Table::Cell::Cell(std::string aText, char const* aColour) : mText(std::move(aText)), mColour(aColour) {}

Table::Table(std::vector<Column> const& aColumns, bool aColoured, Width aWidth) : mTable(scols_new_table())
{
    check(mTable != nullptr);
    std::unique_ptr<libscols_table, decltype(&scols_unref_table)> guard(mTable, &scols_unref_table);
    for (Column const& column : aColumns)
    {
        libscols_column* const added = scols_table_new_column(mTable, column.mName, 0, flagsOf(column.mFit));
        check(added != nullptr);
        mWords = column.mFit == Fit::words ? added : nullptr;
        mWidths.push_back(extentOf(column.mName).mWidth);
    }
    // The library would otherwise query the standard output of the process, where the table does not go.
    check(scols_table_set_termforce(
              mTable, aWidth == Width::page ? SCOLS_TERMFORCE_ALWAYS : SCOLS_TERMFORCE_NEVER) == 0);
    check(scols_table_set_termwidth(mTable, pageWidth) == 0);
    // The cells are escaped here, in the same way as messages. The library would escape them again.
    check(scols_table_enable_noencoding(mTable, true) == 0);
    check(scols_table_enable_colors(mTable, aColoured) == 0);
    static_cast<void>(guard.release());
}

Table::~Table() { scols_unref_table(mTable); }

Table::Row Table::addRow(std::vector<Cell> const& aCells, Row aParent)
{
    libscols_line* const line = scols_table_new_line(mTable, aParent);
    check(line != nullptr);
    // The first column has the tree, if the table is one.
    std::size_t indent = 0;
    for (Row parent = aParent; parent != nullptr; parent = scols_line_get_parent(parent))
    {
        indent += 2;
    }
    for (std::size_t i = 0; i < aCells.size(); ++i)
    {
        std::string const text = printable(aCells[i].mText);
        check(scols_line_set_data(line, i, text.c_str()) == 0);
        check(scols_cell_set_color(scols_line_get_cell(line, i), aCells[i].mColour) == 0);
        mWidths[i] = std::max(mWidths[i], indent + extentOf(text).mWidth);
        indent = 0;
    }
    return line;
}

void Table::hideNames() { check(scols_table_enable_noheadings(mTable, 1) == 0); }

std::string Table::text()
{
    if (mWords != nullptr)
    {
        // The library narrows no column that wraps in its own way.
        std::size_t const others = std::accumulate(mWidths.begin(), mWidths.end() - 1, mWidths.size() - 1);
        std::size_t const width = others < pageWidth ? pageWidth - others : 1;
        if (mWidths.back() > width)
        {
            wrapWords(width);
        }
    }
    return print();
}

void Table::wrapWords(std::size_t aWidth)
{
    check(scols_column_set_wrapfunc(mWords, scols_wrapnl_chunksize, scols_wrapnl_nextchunk, nullptr) == 0);
    std::unique_ptr<libscols_iter, decltype(&scols_free_iter)> const position(
        scols_new_iter(SCOLS_ITER_FORWARD), &scols_free_iter);
    check(position != nullptr);
    for (libscols_line* line = nullptr; scols_table_next_line(mTable, position.get(), &line) == 0;)
    {
        libscols_cell* const cell = scols_line_get_column_cell(line, mWords);
        check(scols_cell_set_data(cell, wrapped(scols_cell_get_data(cell), aWidth).c_str()) == 0);
    }
    mWidths.back() = aWidth;
}

std::string Table::print() const
{
    char* text = nullptr;
    int const status = scols_print_table_to_string(mTable, &text);
    std::unique_ptr<char, decltype(&std::free)> const guard(text, &std::free);
    check(status == 0);
    return std::string(text) + "\n";
}
}  // namespace qzagent
