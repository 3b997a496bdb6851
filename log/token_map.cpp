#include "log/token_map.h"

namespace KAVRI_LOG {

const token_map<int> style_tokens[] = {
    {0x3D, "short,simple"},
    {0x7E, "long,normal"},
    {0xFF, "all,full"},
    {0x100, "none"},
    {0, nullptr},
};

const token_map<int> level_tokens[] = {
    {7, "low,warning"},
    {15, "normal,medium,info"},
    {63, "detail,debug"},
    {-1, "all,full"},
    {0, "none"},
    {0, nullptr},
};

}  // namespace KAVRI_LOG
