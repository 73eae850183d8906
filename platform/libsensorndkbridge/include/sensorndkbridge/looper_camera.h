#ifndef SENSORNDKBRIDGE_LOOPER_CAMERA_H
#define SENSORNDKBRIDGE_LOOPER_CAMERA_H

/* The bridge's own loopers for the camera stack. Unlike ALooper_prepare they
 * are not tied to the calling thread: the caller owns one, polls it from any
 * thread and gives it back with ALooper_release_forCamera. */

#include <android/looper.h>

#ifdef __cplusplus
extern "C" {
#endif

/* A new looper, to attach event queues to (ASensorManager_createEventQueue). */
ALooper* ALooper_forCamera(void);

/* Waits up to timeoutMillis (negative: for ever) on `looper`. Returns
 * ALOOPER_POLL_CALLBACK when an event reached a queue attached to it since the
 * last poll (each poll takes that signal: a queue left non-empty signals again
 * only with its next event), else ALOOPER_POLL_WAKE after ALooper_wake (a wake
 * met together with events stays pending for the next poll),
 * ALOOPER_POLL_TIMEOUT otherwise, and ALOOPER_POLL_ERROR for a null looper.
 * The outputs may be null; they are set to 0, 0 and null. */
int ALooper_pollOnce_camera(ALooper* looper, int timeoutMillis, int* outFd, int* outEvents, void** outData);

/* Releases a looper from ALooper_forCamera; queues still attached are detached. */
void ALooper_release_forCamera(ALooper* looper);

#ifdef __cplusplus
}
#endif

#endif
