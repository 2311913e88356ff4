/// @file
/// The requirements of the library on its framework, each with its own check.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace frameworkcheck
{
/// Thrown when a requirement is not met. The text says what was expected and what was found.
class Unmet : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// Thrown when the program cannot see whether a requirement is met. The text says where to look.
class Unseen : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

struct Requirement
{
    char const* mName;       ///< stem of the header, a dot, and a short name
    char const* mStatement;  ///< the requirement in one line
    void (*mCheck)();        ///< throws Unmet or Unseen; any other exception comes from the framework
};

using Requirements = std::vector<Requirement>;

/// @throws Unmet with the text when the condition is false
inline void expect(bool aCondition, std::string const& aText)
{
    if (!aCondition)
    {
        throw Unmet(aText);
    }
}

/// @return all requirements, in the order of the headers in docs/framework.md
Requirements allRequirements();

/// @return the requirements of one header
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
