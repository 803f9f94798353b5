#include "host/reports/json.hpp"

#include <iostream>

namespace kxhost {

Json jsonNumber(std::optional<double> number) {
  return number ? Json(*number) : Json(nullptr);
}

void printJson(const Json& json) {
  std::cout << json.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
}

}  // namespace kxhost
