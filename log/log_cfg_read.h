// Log_Cfg_T::read_config: fills a record from the configuration file.
#ifndef TAVN_LOG_LOG_CFG_READ_H_
#define TAVN_LOG_LOG_CFG_READ_H_

template <class HEAP, class BASE>
int Log_Cfg_T<HEAP, BASE>::read_config(const char*, const char*) {
  return 0;  // placeholder until the configuration reader lands
}

#endif  // TAVN_LOG_LOG_CFG_READ_H_
