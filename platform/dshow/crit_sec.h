// A recursive critical section and its scoped lock.
#pragma once

#include "platform/kernel.h"

class CCritSec {
public:
    CCritSec() { InitializeCriticalSection(&section_); }
    ~CCritSec() { DeleteCriticalSection(&section_); }
    CCritSec(const CCritSec&) = delete;
    CCritSec& operator=(const CCritSec&) = delete;

    void Lock() { EnterCriticalSection(&section_); }
    void Unlock() { LeaveCriticalSection(&section_); }

private:
    CRITICAL_SECTION section_;
};

class CAutoLock {
public:
    explicit CAutoLock(CCritSec* lock) : lock_(lock) { lock_->Lock(); }
    ~CAutoLock() { lock_->Unlock(); }
    CAutoLock(const CAutoLock&) = delete;
    CAutoLock& operator=(const CAutoLock&) = delete;

private:
    CCritSec* lock_;
};
