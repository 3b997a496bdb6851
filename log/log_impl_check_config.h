// Log_Impl_T::check_config: follows edits of the configuration file while
// the logger runs.  Called first thing for every record.
#ifndef TAVN_LOG_LOG_IMPL_CHECK_CONFIG_H_
#define TAVN_LOG_LOG_IMPL_CHECK_CONFIG_H_

// The re-check is not wired in yet: the settings stay as opened.  Returns 0.
template <class IO, class LOCK, class CFG>
int Log_Impl_T<IO, LOCK, CFG>::check_config() {
  return 0;
}

#endif  // TAVN_LOG_LOG_IMPL_CHECK_CONFIG_H_
