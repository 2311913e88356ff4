/// @file
/// Definitions of functions of the HBA API from their declarations: QZ_HBA_PARAMETERS_2(HBA_GetAdapterName) is its
/// parameter list, and QZ_HBA_ARGUMENTS_2 passes these parameters on.
#pragma once

#include <cstddef>
#include <tuple>

namespace qz
{
template <typename Function>
struct HbaFunction;

template <typename R, typename... Parameters>
struct HbaFunction<R(Parameters...)>
{
    using Result = R;

    template <std::size_t index>
    using Parameter = std::tuple_element_t<index, std::tuple<Parameters...>>;
};
}  // namespace qz

#define QZ_HBA_RESULT(function) qz::HbaFunction<decltype(function)>::Result
#define QZ_HBA_PARAMETER(function, index) \
    qz::HbaFunction<decltype(function)>::Parameter<index> a##index  // NOLINT(bugprone-macro-parentheses)

#define QZ_HBA_PARAMETERS_0(function)
#define QZ_HBA_PARAMETERS_1(function) QZ_HBA_PARAMETER(function, 0)
#define QZ_HBA_PARAMETERS_2(function) QZ_HBA_PARAMETERS_1(function), QZ_HBA_PARAMETER(function, 1)
#define QZ_HBA_PARAMETERS_3(function) QZ_HBA_PARAMETERS_2(function), QZ_HBA_PARAMETER(function, 2)
#define QZ_HBA_PARAMETERS_4(function) QZ_HBA_PARAMETERS_3(function), QZ_HBA_PARAMETER(function, 3)
#define QZ_HBA_PARAMETERS_5(function) QZ_HBA_PARAMETERS_4(function), QZ_HBA_PARAMETER(function, 4)
#define QZ_HBA_PARAMETERS_6(function) QZ_HBA_PARAMETERS_5(function), QZ_HBA_PARAMETER(function, 5)
#define QZ_HBA_PARAMETERS_7(function) QZ_HBA_PARAMETERS_6(function), QZ_HBA_PARAMETER(function, 6)
#define QZ_HBA_PARAMETERS_8(function) QZ_HBA_PARAMETERS_7(function), QZ_HBA_PARAMETER(function, 7)
#define QZ_HBA_PARAMETERS_9(function) QZ_HBA_PARAMETERS_8(function), QZ_HBA_PARAMETER(function, 8)
#define QZ_HBA_PARAMETERS_10(function) QZ_HBA_PARAMETERS_9(function), QZ_HBA_PARAMETER(function, 9)
#define QZ_HBA_PARAMETERS_11(function) QZ_HBA_PARAMETERS_10(function), QZ_HBA_PARAMETER(function, 10)

#define QZ_HBA_ARGUMENTS_0
#define QZ_HBA_ARGUMENTS_1 a0
#define QZ_HBA_ARGUMENTS_2 QZ_HBA_ARGUMENTS_1, a1
#define QZ_HBA_ARGUMENTS_3 QZ_HBA_ARGUMENTS_2, a2
#define QZ_HBA_ARGUMENTS_4 QZ_HBA_ARGUMENTS_3, a3
#define QZ_HBA_ARGUMENTS_5 QZ_HBA_ARGUMENTS_4, a4
#define QZ_HBA_ARGUMENTS_6 QZ_HBA_ARGUMENTS_5, a5
#define QZ_HBA_ARGUMENTS_7 QZ_HBA_ARGUMENTS_6, a6
#define QZ_HBA_ARGUMENTS_8 QZ_HBA_ARGUMENTS_7, a7
#define QZ_HBA_ARGUMENTS_9 QZ_HBA_ARGUMENTS_8, a8
#define QZ_HBA_ARGUMENTS_10 QZ_HBA_ARGUMENTS_9, a9
#define QZ_HBA_ARGUMENTS_11 QZ_HBA_ARGUMENTS_10, a10
