// Log_Uni_Type<BASE, TOKEN>: BASE under a type of its own, one per logger,
// told apart by an empty tag type.  Adds no fields and no behaviour.
#ifndef TAVN_LOG_LOG_UNI_TYPE_H_
#define TAVN_LOG_LOG_UNI_TYPE_H_

template <class BASE, class TOKEN>
class Log_Uni_Type : public BASE {
 public:
  using BASE::BASE;
};

// Tag of this library's logger output type,
// Log_Uni_Type<Log_IO_FILE, __LOG_TOK_Log_IO_FILE_TAVN_LoggerLog_IO_FILE__>.
struct __LOG_TOK_Log_IO_FILE_TAVN_LoggerLog_IO_FILE__ {};

#endif  // TAVN_LOG_LOG_UNI_TYPE_H_
