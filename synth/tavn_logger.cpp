#include "synth/tavn_logger.h"

void tavn_logger_open() {}
void tavn_logger_release() {}
