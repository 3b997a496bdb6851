// Style bits: each selects one part of a record's prefix, written in this
// order: time stamp, level, process id, thread id, subject; then a blank
// and the message.
#ifndef TAVN_LOG_LOG_STYLE_H_
#define TAVN_LOG_LOG_STYLE_H_

enum LOG_STYLE {
  LOG_STYLE_SHORT_TIME = 1,   // "[23:59:58 041]", ignored when FULL_TIME is set
  LOG_STYLE_FULL_TIME = 2,    // "[24/03/05-23:59:58 041]"
  LOG_STYLE_LEVEL = 4,        // "[INF]"
  LOG_STYLE_THREAD = 8,       // "[Tx%04x]"
  LOG_STYLE_LINE_BREAK = 16,  // the record ends with a line break
  LOG_STYLE_SUBJECT = 32,     // "[%-8.8s]", only when a subject is given
  LOG_STYLE_PROCESS = 64,     // "[Px%04x]"
  LOG_STYLE_NONE = 256,       // no prefix, no line break, no head or tail block
};

#endif  // TAVN_LOG_LOG_STYLE_H_
