#pragma once

#include "boundary/export.h"

class Filesystem;
class HostAppMutex;
class HostCim;
class HostConsole;
class HostModule;
class HostNumberHandler;
class HostSemaphore;
class HostSignalHandler;
class HostSystemEvents;
class HostThread;
class HostTimeHandler;
class HostUserAccount;
class StringHandler;
class Timer;

// The host layer: owns contact with the operating system; no policy. What a get_ entry returns is
// process-wide, lives until the process ends and is not owned by the caller, unless it says
// otherwise. Any thread, unless an interface says otherwise.

// Never null.
TARVEX_EXPORT StringHandler* get_string_handler();
TARVEX_EXPORT HostTimeHandler* get_time_handler();
TARVEX_EXPORT HostNumberHandler* get_number_handler();
TARVEX_EXPORT HostSignalHandler* get_signal_handler();
TARVEX_EXPORT Filesystem* get_filesystem();
TARVEX_EXPORT Timer* get_timer();
TARVEX_EXPORT HostThread* get_thread();
TARVEX_EXPORT HostModule* get_module();
TARVEX_EXPORT HostCim* get_cim();

// The console; each call begins a use of it, which release_console_instance ends. May be null.
TARVEX_EXPORT HostConsole* get_console();
TARVEX_EXPORT void release_console_instance(HostConsole* console);

// A new semaphore for the caller, who calls Init first and ReleaseSemaphoreInstance last.
TARVEX_EXPORT HostSemaphore* GetNewSemaphore();
TARVEX_EXPORT void ReleaseSemaphoreInstance(HostSemaphore* semaphore);

// Called once per process.
TARVEX_EXPORT HostSystemEvents* GetSystemEvents();

// The single-instance lock; null when the layer failed. release_app_mutex ends it.
TARVEX_EXPORT HostAppMutex* get_app_mutex();
TARVEX_EXPORT void release_app_mutex(HostAppMutex* mutex);

// The user's account; null when the layer failed. ReleaseUserAccountInstance ends it.
TARVEX_EXPORT HostUserAccount* CreatUserAccountInstance();
TARVEX_EXPORT void ReleaseUserAccountInstance(HostUserAccount* account);
