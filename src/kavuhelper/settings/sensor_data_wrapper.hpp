#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "kavuhelper/channels/dynamic_channel.hpp"
#include "kavuhelper/settings/secure_string.hpp"

namespace brunvik::monitoring_modules::libkavuhelper::settings {

/// What the host hands over to create a sensor, to run a check or to send a notification.
///
/// The settings have flat keys ("credentials.tls.active", or a bare one like "host"). Of a key
/// that was sent twice the last value counts; of one sent both ways the secure one.
///
/// An immutable value; copies share their content. [any-thread]
class sensor_data_wrapper {
 public:
  enum class content_type { sensor_data, check_data, notification_request };

  /// Reads the bytes as they arrive; they need not live longer than the call. Throws
  /// `message_deserialization_failed` for a null, empty, truncated or otherwise unreadable buffer.
  sensor_data_wrapper(const void* data, unsigned int size);

  [[nodiscard]] content_type get_content_type() const noexcept;
  /// Throws `message_deserialization_failed` when the content is another.
  void require(content_type wanted) const;

  /// Name of the sensor, the check or the notification service that is asked for.
  [[nodiscard]] const std::string& get_kind() const noexcept;

  /// The text of a setting, of a secure one as well. Throws `setting_not_available` when the host
  /// did not send the key.
  [[nodiscard]] std::string get_value(std::string_view key) const;
  /// The same for a secret, whose text stays protected.
  [[nodiscard]] secure_string get_secure_value(std::string_view key) const;
  [[nodiscard]] bool has_value(std::string_view key) const noexcept;

  /// The channels that the host knows from the sensor's earlier life. Those of a kind that this
  /// library does not know are left out.
  [[nodiscard]] const std::vector<channels::dynamic_channel>& get_channels() const noexcept;
  /// What the sensor gave the host to keep. Any bytes.
  [[nodiscard]] const std::map<std::string, std::string>& get_persistent_data() const noexcept;

  /// Where a notification goes, and what it says. Any bytes; empty for other contents.
  [[nodiscard]] const std::string& get_target() const noexcept;
  [[nodiscard]] const std::string& get_message() const noexcept;
  /// How long establishing a notification's connection may take, in seconds, as the host sent it.
  [[nodiscard]] std::int64_t get_timeout_s() const noexcept;

  /// The whole as JSON, for a log: every secure value, and any text that holds a private key in
  /// PEM form, reads "********". Valid JSON and UTF-8 whatever bytes came; what is not UTF-8 reads
  /// U+FFFD. For people: settings are never read back from it.
  [[nodiscard]] std::string to_json() const;

 private:
  struct content;
  std::shared_ptr<const content> content_;
};

}  // namespace brunvik::monitoring_modules::libkavuhelper::settings
