// The part of {fmt} that is not in its headers, so that libqzsim.so needs no library for it, and not every source takes
// the time to compile it.
#include <fmt/format-inl.h>
#include <fmt/format.h>

FMT_BEGIN_NAMESPACE
namespace detail
{
template thousands_sep_result<char> thousands_sep_impl(locale_ref);
template char decimal_point_impl(locale_ref);
}  // namespace detail
FMT_END_NAMESPACE
