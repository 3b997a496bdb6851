#include "log/log_level.h"

namespace KAVRI_LOG {

const char* level_name(int level) {
  const unsigned value = static_cast<unsigned>(level);
  if (value <= 1) return LOG_LVLSTRS[1];
  // Rounding up past 2^31 would overflow; such levels are unknown anyway.
  if (value > 0x80000000u) return LOG_LVLSTRS[0];
  unsigned k = 0;
  while ((1u << k) < value) ++k;
  return k + 1 < 9 ? LOG_LVLSTRS[k + 1] : LOG_LVLSTRS[0];
}

}  // namespace KAVRI_LOG
