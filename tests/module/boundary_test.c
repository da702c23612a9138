/* A host in plain C that calls the ten functions in every wrong way: too early, too late, twice,
 * with bytes that are no message, with ids that nobody has. Every settings buffer here lacks what
 * a connection needs, so nothing goes to the network. */

#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "kavu/module_api.h"

static int failures = 0;

static void expect(long long actual, long long expected, const char* what, int line) {
  if (actual != expected) {
    fprintf(stderr, "%d: %s is %lld instead of %lld\n", line, what, actual, expected);
    ++failures;
  }
}
#define EXPECT(actual, expected) \
  expect((long long)(actual), (long long)(expected), #actual, __LINE__)

/* The functions of the module. */

static struct {
  int32_t (*GetApiLevel)(void);
  int32_t (*InitializeModule)(uint64_t, kavu_host_callback);
  int32_t (*CleanupModule)(void);
  void (*GetModuleInformation)(uint32_t);
  int32_t (*GetModuleInformationSync)(uint8_t*, uint32_t*, uint32_t);
  int32_t (*CreateSensorInstance)(int32_t, const uint8_t*, uint32_t);
  int32_t (*ExecuteSensorScan)(int32_t);
  int32_t (*DestroySensorInstance)(int32_t);
  int32_t (*ExecuteMetaScan)(int32_t, uint32_t, const uint8_t*, uint32_t);
  int32_t (*ExecuteCheck)(int32_t, const uint8_t*, uint32_t);
} module;

static void resolve(void* library, const char* name, void* function) {
  void* symbol = dlsym(library, name);
  if (symbol == NULL) {
    fprintf(stderr, "there is no %s\n", name);
    exit(1);
  }
  memcpy(function, &symbol, sizeof symbol);
}
#define RESOLVE(name) resolve(library, #name, &module.name)

static void* load(const char* path) {
  void* library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  if (library == NULL) {
    fprintf(stderr, "%s\n", dlerror());
    exit(1);
  }
  RESOLVE(GetApiLevel);
  RESOLVE(InitializeModule);
  RESOLVE(CleanupModule);
  RESOLVE(GetModuleInformation);
  RESOLVE(GetModuleInformationSync);
  RESOLVE(CreateSensorInstance);
  RESOLVE(ExecuteSensorScan);
  RESOLVE(DestroySensorInstance);
  RESOLVE(ExecuteMetaScan);
  RESOLVE(ExecuteCheck);
  return library;
}

/* What the module sends. An envelope is the API level and one content with its number. */

enum content {
  module_information = 10,
  log_record = 11,
  scan_result = 12,
  check_result = 13,
  notification_response = 15,
  sensor_data = 30,
  check_data = 31,
  notification_request = 32
};

static const uint64_t host_context = UINT64_C(0xFEDCBA9876543210);
static unsigned received[16];
static uint32_t information_size = 0;

/* Without sensors there is no thread but ours. */
static void receive(uint64_t context, const uint8_t* data, uint32_t size) {
  EXPECT(context == host_context, 1);
  EXPECT(size > 3 && data[0] == 0x08 && data[1] == KAVU_MODULE_API_LEVEL, 1);
  const unsigned content = data[2] >> 3;
  ++received[content % 16];
  if (content == module_information) {
    information_size = size;
  }
}

static void receive_nothing(uint64_t context, const uint8_t* data, uint32_t size) {
  (void)context, (void)data;
  EXPECT(size, -1);
}

/* How many messages of a kind have come since the last question. */
static unsigned news(enum content kind) {
  const unsigned count = received[kind];
  received[kind] = 0;
  return count;
}

/* What the host sends. */

struct bytes {
  uint8_t data[256];
  uint32_t size;
};

static void put_number(struct bytes* into, uint32_t value) {
  for (; value > 0x7F; value >>= 7) {
    into->data[into->size++] = (uint8_t)(value | 0x80);
  }
  into->data[into->size++] = (uint8_t)value;
}

static void put(struct bytes* into, uint32_t field, const void* data, uint32_t size) {
  put_number(into, field << 3 | 2);
  put_number(into, size);
  memcpy(into->data + into->size, data, size);
  into->size += size;
}

/* A message of this kind for this sensor, check or service, with one setting. */
static struct bytes message(enum content kind, const char* name) {
  struct bytes setting = {{0}, 0}, content = {{0}, 0},
               envelope = {{0x08, KAVU_MODULE_API_LEVEL}, 2};
  put(&setting, 1, "host", 4);
  put(&setting, 2, "127.0.0.1", 9);
  put(&content, 1, name, (uint32_t)strlen(name));
  put(&content, 2, setting.data, setting.size);
  put(&envelope, kind, content.data, content.size);
  return envelope;
}

static int32_t create(int32_t id, struct bytes bytes) {
  return module.CreateSensorInstance(id, bytes.data, bytes.size);
}
static int32_t check(int32_t id, struct bytes bytes) {
  return module.ExecuteCheck(id, bytes.data, bytes.size);
}
static int32_t meta(int32_t id, uint32_t value, struct bytes bytes) {
  return module.ExecuteMetaScan(id, value, bytes.data, bytes.size);
}

/* The cases. */

static void without_a_module(void) {
  const struct bytes none = {{0}, 0};
  uint32_t size = 7;
  EXPECT(module.GetApiLevel(), 6);
  EXPECT(create(1, message(sensor_data, "statistics_sensor")), KAVU_NOT_INITIALIZED);
  EXPECT(create(1, none), KAVU_NOT_INITIALIZED);
  EXPECT(module.ExecuteSensorScan(1), KAVU_NOT_INITIALIZED);
  EXPECT(module.DestroySensorInstance(-1), KAVU_NOT_INITIALIZED);
  EXPECT(meta(1, 1, none), KAVU_NOT_INITIALIZED);
  EXPECT(check(1, none), KAVU_NOT_INITIALIZED);
  module.GetModuleInformation(KAVU_INCLUDE_TEXTS);
  EXPECT(module.GetModuleInformationSync(NULL, &size, 0), KAVU_FAILED);
  EXPECT(module.GetModuleInformationSync(NULL, NULL, 0), KAVU_REFUSED);
  EXPECT(size, 7);
  EXPECT(module.CleanupModule(), KAVU_OK);
  EXPECT(module.CleanupModule(), KAVU_OK);
  EXPECT(module.InitializeModule(host_context, NULL), KAVU_REFUSED);
  EXPECT(module.ExecuteSensorScan(1), KAVU_NOT_INITIALIZED);
}

static void initialised_twice(void) {
  EXPECT(module.InitializeModule(host_context, receive), KAVU_OK);
  news(log_record);
  EXPECT(module.InitializeModule(1, receive_nothing), KAVU_REFUSED);
  EXPECT(news(log_record), 1);
  EXPECT(module.InitializeModule(host_context, NULL), KAVU_REFUSED);
  module.GetModuleInformation(0);
  EXPECT(news(module_information), 1);
}

static void information(void) {
  static uint8_t buffer[1u << 20];
  uint32_t with_texts = 0, size = 0;
  module.GetModuleInformation(KAVU_INCLUDE_TEXTS);
  EXPECT(news(module_information), 1);
  EXPECT(module.GetModuleInformationSync(NULL, NULL, 0), KAVU_REFUSED);
  EXPECT(module.GetModuleInformationSync(NULL, &with_texts, 3), KAVU_OK);
  EXPECT(with_texts, information_size);
  EXPECT(with_texts > 1000 && with_texts < sizeof buffer, 1);
  size = with_texts - 1; /* one byte short */
  buffer[0] = 0;
  EXPECT(module.GetModuleInformationSync(buffer, &size, KAVU_INCLUDE_TEXTS), KAVU_REFUSED);
  EXPECT(size, with_texts);
  EXPECT(buffer[0], 0);
  buffer[with_texts] = 0xEE; /* exact */
  EXPECT(module.GetModuleInformationSync(buffer, &size, KAVU_INCLUDE_TEXTS), KAVU_OK);
  EXPECT(size, with_texts);
  EXPECT(buffer[0], 0x08);
  EXPECT(buffer[with_texts - 1] != 0 && buffer[with_texts] == 0xEE, 1);
  size = sizeof buffer; /* no texts: all bits but the lowest mean nothing */
  EXPECT(module.GetModuleInformationSync(buffer, &size, UINT32_MAX - 1), KAVU_OK);
  EXPECT(size < with_texts, 1);
}

static void ids_and_kinds(void) {
  const int32_t ids[] = {INT32_MIN, -1, 0, 1, INT32_MAX};
  const uint32_t values[] = {0, 2, UINT32_MAX};
  for (size_t i = 0; i < sizeof ids / sizeof *ids; ++i) {
    const int32_t id = ids[i];
    EXPECT(module.ExecuteSensorScan(id), KAVU_UNKNOWN_ID);
    EXPECT(module.DestroySensorInstance(id), KAVU_UNKNOWN_ID);
    EXPECT(create(id, message(sensor_data, "no such sensor")), KAVU_UNKNOWN_KIND);
    EXPECT(news(scan_result), 0);
    EXPECT(create(id, message(sensor_data, "statistics_sensor")), KAVU_FAILED);
    EXPECT(news(scan_result), 1);
    EXPECT(module.ExecuteSensorScan(id), KAVU_UNKNOWN_ID);
    EXPECT(check(id, message(check_data, "no such check")), KAVU_UNKNOWN_KIND);
    EXPECT(news(check_result), 0);
    EXPECT(check(id, message(check_data, "mqtt_connect_check")), KAVU_FAILED);
    EXPECT(news(check_result), 1);
    EXPECT(meta(id, 1, message(notification_request, "no such service")), KAVU_UNKNOWN_KIND);
    EXPECT(news(notification_response), 0);
    EXPECT(meta(id, 1, message(notification_request, "mqtt_notification")), KAVU_OK);
    EXPECT(news(notification_response), 1);
    for (size_t v = 0; v < sizeof values / sizeof *values; ++v) {
      EXPECT(meta(id, values[v], message(notification_request, "mqtt_notification")),
             KAVU_UNKNOWN_META_SCAN);
    }
  }
}

/* Neither creates anything, nor sends a result. */
static void expect_unreadable(struct bytes bytes) {
  EXPECT(create(1, bytes), KAVU_FAILED);
  EXPECT(check(1, bytes), KAVU_FAILED);
  EXPECT(meta(1, KAVU_META_SCAN_NOTIFICATION, bytes), KAVU_FAILED);
  EXPECT(news(scan_result) + news(check_result) + news(notification_response), 0);
}

static void unreadable_buffers(void) {
  const enum content kinds[] = {sensor_data, check_data, notification_request};
  EXPECT(module.CreateSensorInstance(1, NULL, 0), KAVU_FAILED);
  EXPECT(module.ExecuteCheck(1, NULL, 9), KAVU_FAILED);
  EXPECT(module.ExecuteMetaScan(1, 1, NULL, UINT32_MAX), KAVU_FAILED);
  for (size_t kind = 0; kind < 3; ++kind) {
    struct bytes cut = message(kinds[kind], "statistics_sensor");
    while (cut.size > 0) {
      --cut.size;
      expect_unreadable(cut);
    }
  }
  EXPECT(create(1, message(check_data, "statistics_sensor")), KAVU_FAILED);
  EXPECT(check(1, message(sensor_data, "mqtt_connect_check")), KAVU_FAILED);
  EXPECT(meta(1, 1, message(sensor_data, "mqtt_notification")), KAVU_FAILED);
  expect_unreadable(message(scan_result, "statistics_sensor"));
}

int main(int argc, char** argv) {
  if (argc != 2) {
    return 2;
  }
  void* library = load(argv[1]);
  for (int life = 0; life < 2; ++life) {
    without_a_module();
    initialised_twice();
    information();
    ids_and_kinds();
    unreadable_buffers();
    EXPECT(module.CleanupModule(), KAVU_OK);
    memset(received, 0, sizeof received);
  }
  without_a_module();
  for (size_t kind = 0; kind < sizeof received / sizeof *received; ++kind) {
    EXPECT(received[kind], 0); /* nothing comes after the end */
  }
  EXPECT(dlclose(library), 0);
  printf("%d failures\n", failures);
  return failures == 0 ? 0 : 1;
}
