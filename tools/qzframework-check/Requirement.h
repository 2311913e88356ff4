/// @file
/// What the library relies on of its framework, as requirements that can be checked one by one.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace frameworkcheck
{
/// A requirement is not met. The text says what was expected and what was found.
class Unmet : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// A requirement cannot be judged from outside. The text says where to look.
class Unseen : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

struct Requirement
{
    char const* mName;       ///< the header's stem, a dot, and what of it
    char const* mStatement;  ///< what must hold, in one line
    void (*mCheck)();        ///< @throws Unmet, Unseen; whatever else it throws is the framework's
};

using Requirements = std::vector<Requirement>;

/// @throws Unmet with the text, unless the condition holds
inline void expect(bool aCondition, std::string const& aText)
{
    if (!aCondition)
    {
        throw Unmet(aText);
    }
}

/// All of them, in the order in which docs/framework.md has the headers.
Requirements allRequirements();

/// Those of one header.
/// @{
Requirements bufferRequirements();
Requirements streamRequirements();
Requirements referenceCountRequirements();
Requirements exceptionRequirements();
Requirements clibRequirements();
Requirements loggerRequirements();
Requirements assertionRequirements();
/// @}
}  // namespace frameworkcheck
