#include "mqtt/library_lock.hpp"

#include <MQTTAsync.h>
#include <MQTTClientPersistence.h>

namespace brunvik::monitoring_modules::mqtt {

namespace {

struct locked_request {
  const std::function<int()>& make;
  int code = MQTTASYNC_FAILURE;
};

int make_request(void** /*store*/, const char* /*client_id*/, const char* /*server_uri*/,
                 void* context) {
  auto& request = *static_cast<locked_request*>(context);
  request.code = request.make();
  return 0;
}

int no_keys(void* /*store*/, char*** keys, int* count) {
  *keys = nullptr;
  *count = 0;
  return 0;
}

// A store that keeps nothing, for a client that is never connected.
MQTTClient_persistence make_store(locked_request& request) {
  MQTTClient_persistence store{};
  store.context = &request;
  store.popen = make_request;
  store.pclose = [](void*) { return 0; };
  store.pput = [](void*, char*, int, char*[], int[]) { return 0; };
  store.pget = [](void*, char*, char**, int*) { return MQTTCLIENT_PERSISTENCE_ERROR; };
  store.premove = [](void*, char*) { return 0; };
  store.pkeys = no_keys;
  store.pclear = [](void*) { return 0; };
  store.pcontainskey = [](void*, char*) { return MQTTCLIENT_PERSISTENCE_ERROR; };
  return store;
}

}  // namespace

// The library has no function that takes its lock; but it opens the store of a new client with it
// held, and lets that be ours.
int with_library_locked(const std::function<int()>& request) noexcept {
  locked_request locked{request};
  MQTTClient_persistence store = make_store(locked);
  MQTTAsync client = nullptr;
  if (MQTTAsync_create(&client, "tcp://127.0.0.1", "request", MQTTCLIENT_PERSISTENCE_USER,
                       &store) == MQTTASYNC_SUCCESS) {
    MQTTAsync_destroy(&client);
  }
  return locked.code;
}

}  // namespace brunvik::monitoring_modules::mqtt
