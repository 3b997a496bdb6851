// The native method TalvernSynth of the Java class com.kavri.talvern.
#include <string>

#define TAVN_WANT_JNI
#include "synth/tavn.h"
#include "synth/tavn.hpp"

namespace {

// A copy of exactly the array's bytes (empty for an empty array).  The
// elements are not released back to the runtime.
std::string array_bytes(JNIEnv* env, jbyteArray array) {
  std::string s;
  if (env->GetArrayLength(array) > 0) {
    jsize n = env->GetArrayLength(array);
    jbyte* bytes = env->GetByteArrayElements(array, nullptr);
    if (bytes)
      s.assign(reinterpret_cast<const char*>(bytes),
               static_cast<size_t>(n));  // null: out of memory, stays empty
  }
  return s;
}

}  // namespace

extern "C" JNIEXPORT jint JNICALL Java_com_kavri_talvern_TalvernSynth(
    JNIEnv* env, jobject, jbyteArray text, jboolean is_file, jbyteArray out_file,
    jbyteArray conn_str1, jbyteArray conn_str2, jbyteArray params) {
  std::string s_text = array_bytes(env, text);
  std::string s_out = array_bytes(env, out_file);
  std::string s_conn1 = array_bytes(env, conn_str1);
  std::string s_conn2 = array_bytes(env, conn_str2);
  std::string s_params = array_bytes(env, params);
  return static_cast<jint>(Talvern_Impl(s_text.c_str(), is_file != 0, s_out.c_str(),
                                        s_conn1.c_str(), s_conn2.c_str(), s_params.c_str(),
                                        nullptr));
}
