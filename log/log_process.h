// Process and thread ids as shown in log records.
#ifndef TAVN_LOG_LOG_PROCESS_H_
#define TAVN_LOG_LOG_PROCESS_H_

namespace KAVRI_LOG {

// getpid(), read once and kept; a forked child reads its own again.
// Thread-safe.
int process_id();

// pthread_self() as shown in records: its low 32 bits.
unsigned thread_id();

}  // namespace KAVRI_LOG

#endif  // TAVN_LOG_LOG_PROCESS_H_
