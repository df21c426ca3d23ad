/* Every platform helper called from C99: the header stands on its own, and each function has C linkage. */
#include "internal/qor_internal.h"

static void* Nothing(void* argument) { return argument; }

/* @return the number of the first check that doesn't hold, 0 if all do */
int CallEveryHelperFromC(void) {
  pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
  pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
  Qor_Internal_Event_t event;
  Qor_External_Event_t external;
  Qor_Internal_HostInterface_t host = {3, 0, QOR_INTERNAL_HOST_NETWORK};
  struct timespec time = ns_to_timespec(-1);
  char digits[21];
  unsigned int numerator, denominator, size, closed = 0xFFFFFFFFu;
  unsigned char count;
  pthread_t thread;

  event.Condition = &condition;
  event.Mutex = &mutex;
  event.Signalled = 0;
  if (Qor_Internal_SetEvent(&event) != 0 || event.Signalled != 1) return 1;
  if (Qor_Internal_ResetEvent(&event) != 0 || event.Signalled != 0) return 2;
  pthread_cond_init(&external.Condition, 0);
  pthread_mutex_init(&external.Mutex, 0);
  if (Qor_External_SetEvent(&external) != 0 || external.Signalled != 1) return 3;

  thread = Qor_Internal_Thread_Start(Nothing, 0, 0);
  if (thread == 0 || pthread_join(thread, 0) != 0) return 4;

  if (GetTickCount() <= 0.0) return 5;
  if (time.tv_sec != -1 || time.tv_nsec != 999999999) return 6;
  if (itoa(-7, digits) != digits || digits[0] != '-' || digits[1] != '7' || digits[2] != 0) return 7;
  if (Qor_Internal_GetWindowsErrorDescription(2) == 0) return 8;
  if (Qor_Internal_GetFileSize("", &size) != QOR_INTERNAL_STATUS_FILE_ERROR) return 9;
  Qor_Internal_Math_Float64_Decimal2Fraction(&numerator, &denominator, 0.75);
  if (numerator != 3 || denominator != 4) return 10;

  if (Open_MsgQueue("no-slash", 0, 0, 0) >= 0) return 11;
  if (Create_MsgQueue("no-slash", 8, 0) >= 0) return 12;
  if (close_message_queue(&closed) != 0) return 13;
  if (destroy_message_queue(&closed, "no-slash") != -1) return 14;
  if (destroy_message_queues(&closed, &closed, "no-slash") != -1) return 15;
  if (MsgSndLinux(closed, "", 1, closed, 0, 0) != QOR_INTERNAL_STATUS_MESSAGE_FAILED) return 16;
  if (Qor_Internal_DisconnectMq(closed, closed, 1, 2) != QOR_INTERNAL_STATUS_MESSAGE_FAILED) return 17;
  if (sizeof(Qor_Internal_DisconnectMessage_t) != 12) return 18;

  if (Qor_Internal_CheckInterfaceType(0) != QOR_INTERNAL_STATUS_INVALID_TYPE) return 19;
  if (Qor_Internal_CheckHostInterfaceType(0) != 0) return 20;
  if (Qor_Internal_TranslateInterfaceType_Fw2Api(2) != 4) return 21;
  if (Qor_Internal_TranslateHostInterfaceType_Fw2Api(0) != QOR_INTERNAL_HOST_INTERFACE_NONE) return 22;
  if (Qor_Internal_GetInternalHostInterfaceType(10) != 11) return 23;
  if (Qor_Internal_GetHostCommunicationType(&host) != QOR_INTERNAL_COMMUNICATION_ETHERNET) return 24;
  if (Qor_Internal_GetMaxNumberOfControllers(3, &count) != 0 || count != 2) return 25;
  if (Qor_Internal_GetHostInterfaceTypeDescription(0) == 0) return 26;
  return 0;
}
