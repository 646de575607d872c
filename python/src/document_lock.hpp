#pragma once

/// The lock of a document: one Python thread changes it, or several read it.

#include <cstddef>

namespace ostrajson {

/// A reader/writer lock whose state is only touched with the GIL held, so that taking a free one
/// costs a few instructions. Work goes on without the GIL while the lock is held; a thread that
/// has to wait releases the GIL first, so that the two cannot block each other.
///
/// A forked child has none of the parent's other threads: what they held is free in the child, and
/// a document that one of them was changing is refused there.
class DocumentLock {
public:
    /// @throws nanobind::python_error  if a signal handler raised while waiting, or the document
    ///                                 was being changed by another thread when the process was
    ///                                 forked.
    void lockShared();
    void lock();
    void unlockShared() noexcept;
    void unlock() noexcept;

private:
    void forgetOtherProcess();
    template <class Condition>
    void waitUntil(const Condition& free);

    std::size_t readers_ = 0;
    std::size_t waitingWriters_ = 0; // new readers wait for them, or they could wait forever
    unsigned process_ = 0;
    bool writing_ = false;
    bool torn_ = false; // left half changed by a thread of the parent
};

} // namespace ostrajson
