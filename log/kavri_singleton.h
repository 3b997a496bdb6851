// Process-wide holder of one object of type T: the instance pointer, the
// count of successful first-time opens not yet released, and whether the
// holder created the instance and must delete it.  Each accessor returns a
// reference to a function-local static.
//
// Thread safety: none of its own.  Callers serialise creation and release
// (the front end does both inside its one-time start-up and its exit hook).
#ifndef TAVN_LOG_KAVRI_SINGLETON_H_
#define TAVN_LOG_KAVRI_SINGLETON_H_

template <typename T>
class Kavri_Singleton_T {
 public:
  static T*& instance() {
    static T* the_inst = nullptr;
    return the_inst;
  }
  static int& ref_count() {
    static int reference_count_ = 0;
    return reference_count_;
  }
  // The spelling of this accessor's name is kept: other code refers to it.
  static bool& need_delelte() {
    static bool delete_instance_ = false;
    return delete_instance_;
  }
};

#endif  // TAVN_LOG_KAVRI_SINGLETON_H_
