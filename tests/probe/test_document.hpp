#pragma once

#include <string_view>

namespace kavu_test {

/// A small definition document of a module that is not ours: other sensors, every type of setting,
/// two languages.
inline constexpr std::string_view test_document = R"json({
"Revision": 3,
"MetaData": {"Vendor": "test", "Name": "test", "Display": "Test", "Description": "A module.",
  "Version": "1.0"},
"Sensors": {
  "tank_sensor": {"Name": "tank_sensor", "Display": "Tank", "Description": "Watches a tank",
    "Help": "Up to [b]two[/b] values.", "RequiredChecks": ["reach_check"],
    "Settings": {"Sections": ["access", "tank"]}, "Tags": []},
  "missing_sensor": {"Name": "missing_sensor", "Display": "Missing",
    "Settings": {"Sections": ["access"]}}},
"Checks": {"reach_check": {"Name": "reach_check", "Sections": ["access"]}},
"Sections": {
  "access": {"Name": "access", "Display": "Access", "Scope": "SettingSectionScopeCredentials",
    "Groups": ["user_credentials", "connection", "tls"]},
  "tank": {"Name": "tank", "Display": "Tank", "Scope": "SettingSectionScopeSensor",
    "Groups": ["tank"]}},
"Groups": {
  "user_credentials": {"Name": "user_credentials", "Items": [
    {"Setting": {"Name": "active", "Display": "Method", "Default": "no",
      "Selection": {"Options": [{"Display": "None", "Value": "no"},
        {"Display": "Password", "Value": "yes"}]}}},
    {"DependsOn": "active", "Condition": "yes",
      "Setting": {"Name": "user", "Display": "User Name", "Default": "", "Text": {},
      "Flags": ["SettingFlagRequired"]}},
    {"DependsOn": "active", "Condition": "yes",
      "Setting": {"Name": "password", "Display": "Password", "Default": "",
      "Text": {"Security": "SettingSecurityHigh"}}}]},
  "connection": {"Name": "connection", "Items": [
    {"Setting": {"Name": "port", "Display": "Port", "Help": "Between 1 and 100%%.",
      "Default": "1883", "IntegerSigned": {"IsMinimumSet": true, "Minimum": 1,
      "IsMaximumSet": true, "Maximum": 65535}, "Flags": ["SettingFlagRequired"]}}]},
  "tls": {"Name": "tls", "Items": [
    {"Setting": {"Name": "active", "Display": "TLS", "Default": "no",
      "Selection": {"Options": [{"Display": "No", "Value": "no"},
        {"Display": "Yes", "Value": "yes"}]}}}]},
  "tank": {"Name": "tank", "Items": [
    {"Setting": {"Name": "topic", "Display": "Topic", "Text": {"Maxlength": 24},
      "Flags": ["SettingFlagRequired"]}},
    {"Setting": {"Name": "client_id", "Display": "Client", "Default": "T_%sensorid", "Text": {}}},
    {"Setting": {"Name": "factor", "Display": "Factor", "Default": "1",
      "Floatingpoint": {"IsMinimumSet": false, "Minimum": 0, "IsMaximumSet": true,
      "Maximum": 10}}},
    {"Setting": {"Name": "channel1_jsonpath", "Display": "Path #1", "Default": "", "Text": {}}},
    {"Setting": {"Name": "channel1_name", "Display": "Name #1", "Default": "", "Text": {}}},
    {"Setting": {"Name": "channel2", "Display": "Channel #2", "Default": "disable",
      "Selection": {"Options": [{"Display": "Off", "Value": "disable"},
        {"Display": "On", "Value": "enable"}]}}},
    {"DependsOn": "channel2", "Condition": "enable",
      "Setting": {"Name": "channel2_jsonpath", "Display": "Path #2", "Default": "", "Text": {},
      "Flags": ["SettingFlagRequired"]}},
    {"DependsOn": "channel2", "Condition": "enable",
      "Setting": {"Name": "channel2_name", "Display": "Name #2", "Default": "", "Text": {}}}]}},
"Lookups": {"level": {"Name": "level", "Mode": "LookupDisplayModeInteger", "LookupValues": [
  {"Name": "fine", "Display": "All fine", "Value": 4, "State": "LookupValueStateOk"},
  {"Name": "dry", "Display": "Dry", "Value": 0, "State": "LookupValueStateError"}]}},
"Text": {
  "German": {"Translation": {
    "channel.count": {"Display": "Anzahl"},
    "error.refused": {"Display": "Von '%0:s' abgewiesen: %1:s (100%%)"},
    "error.odd": {"Display": "100% von %7:s"},
    "lookup.level.4": {"Display": "Alles gut"},
    "tank_sensor.display": {"Display": "Behälter"}}},
  "English": {"Translation": {
    "channel.count": {"Display": "Count"},
    "error.refused": {"Display": "Refused by '%0:s': %1:s (100%%)"}}}}
})json";

}  // namespace kavu_test
