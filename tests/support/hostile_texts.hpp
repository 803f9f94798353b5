// Tables in text as programs write them, and as nobody should: what readers are tried on.
#pragma once

#include <array>
#include <string_view>

namespace support {

using namespace std::string_view_literals;

constexpr std::array hostileTexts{
    "a,b\n1,2\n3,4\n"sv,
    "Zeit;U;I\ns;V;A\n0,000;1,5;-2\n0,001;2,5;\n0,002;NaN;1e3\n"sv,
    "t\tu\r\n0\t1.5\r\n0.1\t\r\n\t\r\n"sv,
    "# measured\n# t u\n  0  1\n 0.5\t2\n% between\n1 3"sv,
    "Model,X1\nSample Interval,4e-10\nTIME,CH1\n-1.0e-03,1.5\n-5.0e-04,2\n0,3\n"sv,
    "Time_UTC,u\n2020-02-24 18:15:21.499998208,5\n2020-02-24 18:15:21.500018208,6\n"sv,
    "clock;u\n23:59:59,9;1\n00:00:00,0;2\n"sv,
    "\"a;\"\"b\";\"c\"\n\"1,5\";2\n\"3\"x;4\n"sv,
    "a;b;\n1;2;\n3;4;5\n"sv,
    "1,2\n3,4\n"sv,
    "angle,1,2,3\n-360,1.1,1.2,1.3\n-359,1,2,3\n"sv,
    "u\r1,5\r2,5\r"sv,
    "u i\n0,001 1,5\n0,002 2,5\n"sv,
    "\xEF\xBB\xBF"
    "a,b\n1,2\n"sv,
    "\xFF\xFE"
    "a\0,\0b\0\n\0"
    "1\0,\0"
    "2\0\n\0"sv,
    "a,b\n1,\0\n"sv,
    "a,b\n1,2\n3\n"sv,
    "a,b\n1,2\n\"3,4\n"sv,
    "a,b\n,\nNaN,n/a\n#N/A,null\n"sv,
    "a,b\nx,y\n"sv,
    "a,b\n"sv,
    "\n \r\n\x1A"sv,
    ""sv,
    ";;;;;;;;\n;;;;1;;;;\n"sv,
    "t,u\n1e300,1\n-1e300,2\n1e308,1e999\n"sv,
    "t,u\n-9223372036854775808,1\n9223372036854775807,2\n"sv,
    "t,u\n2024-13-41 99:99:99,1\n0000-00-00 00:00:00Z,2\n"sv,
    "t,u\n9999-12-31T23:59:60.999999999+14:00,1\n0001-01-01 00:00:00-14:59,2\n"sv,
    "1\t\"\t\n\"\"\"\"\n"sv,
    "0x1p3,1_000,1e,.,-,+,1e+,e5\n1,2,3,4,5,6,7,8\n"sv,
    "\xB5s;\xC2\xB5V;(s);[]\n1;2;3;4\n"sv,
    "//\n//a,b\n//s,V\n1,2\n"sv,
};

}  // namespace support
