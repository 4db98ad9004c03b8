/// The part of libdispatch that this project calls: the main queue.
#pragma once

#pragma GCC visibility push(default)
#if defined(__cplusplus)
extern "C" {
#endif

typedef struct dispatch_queue_s* dispatch_queue_t;
typedef void (*dispatch_function_t)(void* context);

/// The queue that the main thread serves once it is in dispatch_main. Never released.
dispatch_queue_t dispatch_get_main_queue(void);

/// Has `work(context)` called on the queue's thread, after all that was queued before. Any
/// thread; returns at once. An exception that leaves `work` ends the process.
void dispatch_async_f(dispatch_queue_t queue, void* context, dispatch_function_t work);

/// Serves the main queue; called on the main thread, never returns.
__attribute__((noreturn)) void dispatch_main(void);

#if defined(__cplusplus)
}
#endif
#pragma GCC visibility pop
