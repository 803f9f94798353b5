// An export without a model of its name and signature fails here.
#include "reference/models.hpp"

#include <type_traits>

#include "every_model.inc"

namespace reference {

#define KXCALC_EXPORT(family, name) static_assert(std::is_same_v<decltype(::name), decltype(reference::name)>);
#include "functions/exports.inc"
#undef KXCALC_EXPORT

constexpr kxcalc::Functions functions{
#define KXCALC_EXPORT(family, name) &reference::name,
#include "functions/exports.inc"
#undef KXCALC_EXPORT
};

}  // namespace reference
