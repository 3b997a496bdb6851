// The front end's logger type and its start-up and release.
#ifndef TAVN_SYNTH_TAVN_LOGGER_H_
#define TAVN_SYNTH_TAVN_LOGGER_H_

// Stand-in until the file logger is wired in: never instantiated, so the
// singleton's instance stays null and every log call is skipped.
struct TavnLogger {
  void log_error(const char*, ...) __attribute__((format(printf, 2, 3))) {}
  void log_warn(const char*, ...) __attribute__((format(printf, 2, 3))) {}
  void log_info(const char*, ...) __attribute__((format(printf, 2, 3))) {}
  void log_verbose(const char*, ...) __attribute__((format(printf, 2, 3))) {}
  void log_trace(const char*, ...) __attribute__((format(printf, 2, 3))) {}
};

// Opens the process-wide logger ("./tavn.log", configured by "./tavn.cfg").
// May throw; the module start-up is then retried by the next request.
void tavn_logger_open();
// Closes the logger and drops the start-up's reference.
void tavn_logger_release();

#endif  // TAVN_SYNTH_TAVN_LOGGER_H_
