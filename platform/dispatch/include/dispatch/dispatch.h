/// The part of libdispatch that this project calls: the main queue.
#pragma once

#pragma GCC visibility push(default)
#if defined(__cplusplus)
extern "C" {
#endif

typedef struct dispatch_queue_s* dispatch_queue_t;
typedef void (*dispatch_function_t)(void* context);

/// The queue that the main thread serves in dispatch_main. Never released.
dispatch_queue_t dispatch_get_main_queue(void);

/// Calls `work(context)` on the queue's thread, after everything queued before. May be called on
/// any thread; returns at once. An exception from `work` ends the process.
void dispatch_async_f(dispatch_queue_t queue, void* context, dispatch_function_t work);

/// Serves the main queue. Call it on the main thread; it never returns.
__attribute__((noreturn)) void dispatch_main(void);

#if defined(__cplusplus)
}
#endif
#pragma GCC visibility pop
