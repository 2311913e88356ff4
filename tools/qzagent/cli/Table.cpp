#include "tools/qzagent/cli/Table.h"

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include <libsmartcols/libsmartcols.h>

#include "tools/qzagent/cli/Printable.h"

namespace qzagent
{
namespace
{
constexpr std::size_t pageWidth = 100;

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
            return SCOLS_FL_WRAP;
        case Table::Fit::tree:
            return SCOLS_FL_TREE;
        default:
            return 0;
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
        check(scols_table_new_column(mTable, column.mName, 0, flagsOf(column.mFit)) != nullptr);
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
    for (std::size_t i = 0; i < aCells.size(); ++i)
    {
        check(scols_line_set_data(line, i, printable(aCells[i].mText).c_str()) == 0);
        check(scols_cell_set_color(scols_line_get_cell(line, i), aCells[i].mColour) == 0);
    }
    return line;
}

void Table::hideNames() { check(scols_table_enable_noheadings(mTable, 1) == 0); }

std::string Table::text() const
{
    char* text = nullptr;
    int const status = scols_print_table_to_string(mTable, &text);
    std::unique_ptr<char, decltype(&std::free)> const guard(text, &std::free);
    check(status == 0);
    return std::string(text) + "\n";
}
}  // namespace qzagent
