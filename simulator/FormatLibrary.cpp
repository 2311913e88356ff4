// Compiles the part of {fmt} that its headers do not contain. libqzsim.so then does not have to link the library, and
// this part is compiled only once.
#include <locale>

#include <fmt/format-inl.h>
#include <fmt/format.h>

FMT_BEGIN_NAMESPACE
namespace detail
{
template thousands_sep_result<char> thousands_sep_impl(locale_ref);
template char decimal_point_impl(locale_ref);
template std::locale locale_ref::get<std::locale>() const;
}  // namespace detail
FMT_END_NAMESPACE
