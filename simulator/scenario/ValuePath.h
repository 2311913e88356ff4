/// @file
/// Paths to the values of a scenario, such as adapter[0].port[1].state.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "toml/TomlValue.h"

namespace qzsim
{
/// Keys with dots between them. An element of an array is selected in brackets by its position, counted from 0, or by
/// the text of its key "name", "port_wwn" or "second_wwn". [+] stands for a new element at the end.
class ValuePath
{
public:
    /// @param aPlace position of the text, for messages
    /// @throws tomlfile::TomlError when the text is not a path
    ValuePath(std::string aPlace, std::string aText);

    std::string const& place() const { return mPlace; }
    std::string const& text() const { return mText; }

    /// @return the path with positions only, for this tree
    /// @throws tomlfile::TomlError when an element does not exist
    std::string resolved(tomlfile::TomlValue const& aTree) const;

    /// @return the value; null when the tree has none
    /// @throws tomlfile::TomlError when an element does not exist
    tomlfile::TomlValue const* find(tomlfile::TomlValue const& aTree) const;

    /// @throws tomlfile::TomlError when the tree has no such value
    tomlfile::TomlValue const& valueIn(tomlfile::TomlValue const& aTree) const;

    /// Replaces or adds the value. Adds the tables that the path needs.
    /// @throws tomlfile::TomlError when an element of the path does not exist
    void set(tomlfile::TomlValue& aTree, tomlfile::TomlValue aValue) const;

    /// @throws tomlfile::TomlError always, with the path and the reason
    [[noreturn]] void refuse(std::string const& aReason) const;

    /// @throws tomlfile::TomlError always: the tree has no such value
    [[noreturn]] void refuseMissing() const;

    /// Removes the value.
    /// @throws tomlfile::TomlError when the tree has no such value
    void remove(tomlfile::TomlValue& aTree) const;

private:
    struct Step
    {
        std::string mText;
        bool mIsElement;
    };

    /// @return the position of the element that the step selects; the size of the array for a new element
    std::size_t positionIn(tomlfile::TomlValue const& aArray, Step const& aStep) const;

    /// @return the value that the step selects; null when there is none
    tomlfile::TomlValue const* valueAt(tomlfile::TomlValue const& aValue, Step const& aStep) const;

    /// Same as above for the step with this number, but adds the value when there is none.
    tomlfile::TomlValue& madeAt(tomlfile::TomlValue& aValue, std::size_t aStep) const;

    std::string mPlace;
    std::string mText;
    std::vector<Step> mSteps;
};
}  // namespace qzsim
