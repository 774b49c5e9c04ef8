/** @file The part of {fmt} that is not in its headers. It is compiled here, because the package has it as a library for the build
 * machine alone, not for those that jay is cross-compiled for. */
#include <fmt/format-inl.h>

FMT_BEGIN_NAMESPACE
namespace detail {
template auto locale_ref::get<std::locale>() const -> std::locale;
template auto thousands_sep_impl(locale_ref) -> thousands_sep_result<char>;
template auto decimal_point_impl(locale_ref) -> char;
}  // namespace detail
FMT_END_NAMESPACE
