// Log_Impl_T's raw write path: write, encrypt, flush and the small subject
// helpers.  Included by log/log_impl.h.
#ifndef TAVN_LOG_LOG_IMPL_WRITE_H_
#define TAVN_LOG_LOG_IMPL_WRITE_H_

#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

template <class IO, class LOCK, class CFG>
int Log_Impl_T<IO, LOCK, CFG>::write(const void* data, int len) {
  Log_Lock_Guard guard(mutex_);
  int result = -1;
  if (io_ != nullptr) {
    if (cfg_.encrypt_key != 0 && data != nullptr && len > 0) {
      // Scramble a copy: the caller's bytes stay as they are.
      unsigned char fixed[10240];
      std::unique_ptr<unsigned char[]> heap;
      unsigned char* copy = fixed;
      if (len > static_cast<int>(sizeof fixed)) {
        heap.reset(new (std::nothrow) unsigned char[static_cast<size_t>(len)]);
        copy = heap.get();
      }
      if (copy != nullptr) {  // no memory for the copy: nothing written, -1
        memcpy(copy, data, static_cast<size_t>(len));
        encrypt(copy, len);
        result = io_->write(static_cast<const void*>(copy), len);
      }
    } else {
      result = io_->write(data, len);
    }
  }
  return result;
}

template <class IO, class LOCK, class CFG>
int Log_Impl_T<IO, LOCK, CFG>::encrypt(void* data, int len) {
  if (cfg_.encrypt_key == 0 || len < 1 || data == nullptr) return len;
  const unsigned char key = static_cast<unsigned char>(cfg_.encrypt_key & 0xFF);
  unsigned char* bytes = static_cast<unsigned char*>(data);
  for (int i = 0; i < len; ++i) bytes[i] ^= key;
  return len;
}

template <class IO, class LOCK, class CFG>
void Log_Impl_T<IO, LOCK, CFG>::flush() {
  Log_Lock_Guard guard(mutex_);
  if (io_ != nullptr && io_->handle() != nullptr) io_->flush();
}

template <class IO, class LOCK, class CFG>
char* Log_Impl_T<IO, LOCK, CFG>::subject(int n, char* buf, int size) const {
  if (buf != nullptr && size > 8) snprintf(buf, static_cast<size_t>(size), "%8x", static_cast<unsigned>(n));
  return buf;
}

// Numbers outside 0..31 have no bit in `filter` and always pass.
template <class IO, class LOCK, class CFG>
int Log_Impl_T<IO, LOCK, CFG>::sub_output(int n) const {
  if (n < 0 || n > 31) return 1;
  return (static_cast<uint32_t>(cfg_.filter_) >> n) & 1u;
}

template <class IO, class LOCK, class CFG>
int Log_Impl_T<IO, LOCK, CFG>::sub_output(const char*) const {
  return 1;
}

#endif  // TAVN_LOG_LOG_IMPL_WRITE_H_
