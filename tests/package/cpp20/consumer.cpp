// A C++20 program built against the installed package through CMake.
#include <kxcalc.h>

#include <array>
#include <iostream>

int main() {
  std::uint32_t major = 0, minor = 0, flag = 0;
  kxcalcGetVersion(&major, &minor, 10, &flag);
  std::array<double, 3> volts{1.5, -2.0, 4.0};
  kxcalcMultiplyVectorByScalar_double(volts.data(), volts.size(), 2.0);
  double minimum = 0, maximum = 0;
  kxcalcGetMinMax_double(volts.data(), volts.size(), &minimum, &maximum);
  std::cout << major << '.' << minor << ' ' << flag << ' ' << minimum << ' ' << maximum << '\n';
}
