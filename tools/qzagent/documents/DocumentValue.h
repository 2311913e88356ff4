/// @file
/// Reads the JSON documents of verbs, with messages that name the place of what is wrong.
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace qzagent
{
/// Thrown for a document that cannot be read. The text names the place and what was expected there.
class DocumentError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// A value of a document and its place in it. Every function throws DocumentError when the value is not what the
/// function expects.
class DocumentValue
{
public:
    /// @param aJson must outlive this object
    DocumentValue(nlohmann::ordered_json const& aJson, std::string aPlace);

    [[noreturn]] void refuse(std::string const& aExpected) const;

    nlohmann::ordered_json const& json() const { return mJson; }

    /// Whether the object has the key.
    bool has(char const* aKey) const;

    /// @return the value of the key, which the object must have
    DocumentValue at(char const* aKey) const;

    /// @return the elements of a list; none when the key is absent
    std::vector<DocumentValue> listAt(char const* aKey) const;

    std::string text() const;

    /// @return the text of the key; none when the key is absent
    std::optional<std::string> textAt(char const* aKey) const;

    std::uint64_t number() const;

    /// @return a LUN as text
    std::string lun() const;

private:
    DocumentValue const& object() const;

    nlohmann::ordered_json const& mJson;
    std::string mPlace;
};

/// @param aVerb the verb whose document it must be
/// @param aName name of the document for messages
/// @throws DocumentError
DocumentValue documentOf(char const* aVerb, nlohmann::ordered_json const& aDocument,
                         std::string const& aName);
}  // namespace qzagent
