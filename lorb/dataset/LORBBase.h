#pragma once

#include <lorb/dataset/export.h>

namespace lorb {

/// Reference count carried by shared objects.
///
/// A new object counts no reference. Each holder calls `refer()` once; to let go it calls `unrefer()`
/// and, when `isRefered()` then answers false, destroys the object. The count itself never frees
/// anything. It is not atomic: the holders of one object share a thread or a lock.
class LORB_EXPORT LORBBase {
 public:
  LORBBase() = default;
  LORBBase(LORBBase const&) = delete;
  LORBBase& operator=(LORBBase const&) = delete;

  /// Adds one reference.
  void refer();

  /// Gives up one reference; a count of zero stays at zero.
  void unrefer();

  /// True while at least one reference remains.
  bool isRefered() const;

 private:
  unsigned long references_ = 0;
};

/// Base of objects that several holders share. Destroyed through its virtual destructor; its
/// `LORBBase` part follows the virtual-table pointer.
class LORB_EXPORT SharedObject : public LORBBase {
 public:
  SharedObject() = default;
  virtual ~SharedObject();
};

}  // namespace lorb
