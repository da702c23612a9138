/* The boundary between a monitoring host and a monitoring module.
 *
 * A module is a shared library that exports the ten functions below under their plain names.
 * A host loads it, initialises it with a context and a callback, and then creates, scans and
 * destroys sensors, runs checks and sends notifications. Everything richer than an integer
 * travels as one serialized `kavu.wire.Envelope` (src/platform/proto): settings on the way in,
 * log records and results on the way out.
 *
 * Rules that hold for every function
 * - No exception leaves the module; a failure is told by the return code.
 * - Byte arguments are read during the call only and stay the caller's. `data` may be null
 *   when `size` is 0; such a buffer is an unreadable one.
 * - `InitializeModule` and `CleanupModule` must not run at the same time as any other function
 *   of the module. All others may be called from several threads at once.
 *
 * Rules for the callback
 * - It comes on any thread, also on threads of the module's own, and on several at once.
 * - It must return soon and must not call back into the module: a log record is handed over
 *   while the module holds the lock of the log that it came through.
 * - The bytes are the module's and end with the call: copy what is to be kept.
 * - None comes after `CleanupModule` has returned.
 *
 * This header compiles as C99 and later and as C++.
 */
#ifndef KAVU_MODULE_API_H
#define KAVU_MODULE_API_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define KAVU_MODULE_API __attribute__((visibility("default")))

/* What `GetApiLevel` answers for the interface of this header. */
#define KAVU_MODULE_API_LEVEL 6

/* Return codes. Which function uses which is said below. */
enum kavu_result {
  KAVU_OK = 0,
  /* Already initialised, or failed to build; `GetModuleInformationSync`: no size pointer, or the
   * buffer is too small. */
  KAVU_REFUSED = 1,
  /* An exception ended the call; `GetModuleInformationSync`: not initialised. */
  KAVU_FAILED = 2,
  /* The module is not initialised (the five sensor and check functions). */
  KAVU_NOT_INITIALIZED = 3,
  /* The settings name a sensor, check or notification service that the module does not have. */
  KAVU_UNKNOWN_KIND = 4,
  /* A sensor with this id exists, or is being created. */
  KAVU_ID_IN_USE = 5,
  /* No sensor has this id. */
  KAVU_UNKNOWN_ID = 6,
  /* The meta-scan value has no meaning. */
  KAVU_UNKNOWN_META_SCAN = 7
};

/* `flags` of the module information: bit 0 asks for the translated texts as well. */
#define KAVU_INCLUDE_TEXTS 1u

/* `value` of `ExecuteMetaScan` whose bytes are a notification request. */
#define KAVU_META_SCAN_NOTIFICATION 1u

/* Receives one message of the module. `context` is the value given to `InitializeModule`. */
typedef void (*kavu_host_callback)(uint64_t context, const uint8_t* data, uint32_t size);

/* The interface level, always 6. May be called before `InitializeModule`. */
KAVU_MODULE_API int32_t GetApiLevel(void);

/* Builds the module. 0: it is ready. 1: there is one already, it could not be built, or the
 * callback is null; nothing has changed then. `context` is handed back with every message and
 * never looked into. */
KAVU_MODULE_API int32_t InitializeModule(uint64_t context, kavu_host_callback callback);

/* Destroys the module with all its sensors. Always 0, also without a module. No thread of the
 * module is left and no callback comes after it has returned; it does not wait for a broker
 * beyond a fixed bound of seconds. */
KAVU_MODULE_API int32_t CleanupModule(void);

/* Has the definition document sent through the callback, as one message, before it returns.
 * Nothing is sent without a module. */
KAVU_MODULE_API void GetModuleInformation(uint32_t flags);

/* The same message, copied. `*size` is the capacity of `buffer` on entry and the length of the
 * message on return. 0: copied, or, with a null `buffer`, only the length told. 1: `size` is
 * null, or the capacity is too small (the length is told, nothing is copied), or the message
 * could not be built (`*size` untouched). 2: not initialised. */
KAVU_MODULE_API int32_t GetModuleInformationSync(uint8_t* buffer, uint32_t* size, uint32_t flags);

/* Creates a sensor from a `SensorData` envelope. 0, 2 (a result has told why, unless the buffer
 * was unreadable), 3, 4 or 5. */
KAVU_MODULE_API int32_t CreateSensorInstance(int32_t sensor_id, const uint8_t* data, uint32_t size);

/* Runs one scan on the calling thread; its result comes through the callback before the function
 * returns. Scans of one sensor are serialised. 0, also for a scan that failed and said so in its
 * result; 2, 3 or 6. */
KAVU_MODULE_API int32_t ExecuteSensorScan(int32_t sensor_id);

/* Destroys a sensor after its running scan, if any, has ended. 0, 2, 3 or 6. */
KAVU_MODULE_API int32_t DestroySensorInstance(int32_t sensor_id);

/* Asks the module for something beside the sensors' scans. The id is echoed in the answer and
 * never looked up. Value 1: `data` is a `NotificationRequest` envelope; the answer is a
 * `NotificationResponse`. 0, also for a notification that failed and said so in its answer; 2,
 * 3, 4 or 7. */
KAVU_MODULE_API int32_t ExecuteMetaScan(int32_t sensor_id, uint32_t value, const uint8_t* data,
                                        uint32_t size);

/* Runs a check from a `CheckData` envelope; its result comes through the callback before the
 * function returns. 0, 2, 3 or 4. */
KAVU_MODULE_API int32_t ExecuteCheck(int32_t check_id, const uint8_t* data, uint32_t size);

#ifdef __cplusplus
}
#endif

#endif
