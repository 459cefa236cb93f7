// Random number pairs, the system time in seconds and rounding up to a power of
// two: declared with the transfer layer, used by it and by the ICMP prober, so
// they live in the lowest layer both share.
#include <cstdlib>
#include <ctime>

#include "inetmgr/xoinet.h"

namespace corvane_com::zel::xoInet {

long getRandomNumberPair(unsigned short& a, unsigned short& b) {
  static const bool seeded = (::srandom(static_cast<unsigned int>(std::time(nullptr))), true);
  (void)seeded;
  const long r = ::random();
  a = static_cast<unsigned short>(r & 0xFFFF);
  b = static_cast<unsigned short>((r >> 16) & 0xFFFF);
  return r;
}

std::int64_t CalculateSystemTime() { return static_cast<std::int64_t>(std::time(nullptr)); }

unsigned int clp2(unsigned int x) {
  x = x - 1;
  x = x | (x >> 1);
  x = x | (x >> 2);
  x = x | (x >> 4);
  x = x | (x >> 8);
  x = x | (x >> 16);
  return x + 1;
}

}  // namespace corvane_com::zel::xoInet
