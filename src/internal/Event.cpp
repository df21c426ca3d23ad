// Events: a flag that is set and reset under its mutex, and a condition variable that wakes those who wait for it.
#include <cerrno>
#include <cstddef>

#include "internal/SystemCalls.h"
#include "internal/qor_internal.h"

static_assert(offsetof(Qor_Internal_Event_t, Mutex) == 8);
static_assert(offsetof(Qor_Internal_Event_t, Signalled) == 16);
static_assert(offsetof(Qor_External_Event_t, Mutex) == 48);
static_assert(offsetof(Qor_External_Event_t, Signalled) == 88);

namespace {

// Locks, and takes over a robust mutex whose owner died: the one thing it guards, the flag, is written anew anyway.
int Lock(pthread_mutex_t& mutex) {
  const int error = pthread_mutex_lock(&mutex);
  if (error == EOWNERDEAD) pthread_mutex_consistent(&mutex);
  return error;
}

int Signal(const char* caller, pthread_cond_t& condition, pthread_mutex_t& mutex, unsigned int& signalled) {
  const int error = Lock(mutex);
  // The text, odd blanks included, is part of the interface.
  if (error != 0) LogError("%s :error %d from pthread_mutex_lock", caller, error);
  signalled = 1;
  pthread_cond_broadcast(&condition);
  return pthread_mutex_unlock(&mutex);
}

bool IsComplete(const Qor_Internal_Event_t* event) {
  return event != nullptr && event->Condition != nullptr && event->Mutex != nullptr;
}

}  // namespace

int Qor_Internal_SetEvent(Qor_Internal_Event_t* event) {
  if (!IsComplete(event)) return EINVAL;
  return Signal(__func__, *event->Condition, *event->Mutex, event->Signalled);
}

int Qor_External_SetEvent(Qor_External_Event_t* event) {
  if (event == nullptr) return EINVAL;
  return Signal(__func__, event->Condition, event->Mutex, event->Signalled);
}

int Qor_Internal_ResetEvent(Qor_Internal_Event_t* event) {
  if (!IsComplete(event)) return EINVAL;
  Lock(*event->Mutex);
  event->Signalled = 0;
  return pthread_mutex_unlock(event->Mutex);
}
