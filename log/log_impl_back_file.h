// Log_Impl_T::back_file: rotation of the log file.  Called under the lock
// when a record would push the file past max_size.
#ifndef TAVN_LOG_LOG_IMPL_BACK_FILE_H_
#define TAVN_LOG_LOG_IMPL_BACK_FILE_H_

// Rotation is not wired in yet: the file keeps growing.  Returns 0.
template <class IO, class LOCK, class CFG>
int Log_Impl_T<IO, LOCK, CFG>::back_file() {
  return 0;
}

#endif  // TAVN_LOG_LOG_IMPL_BACK_FILE_H_
