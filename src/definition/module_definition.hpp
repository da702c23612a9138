#pragma once

#include <string>

/// The document with which the module describes itself to the host: its sensors and checks, the
/// settings that a user fills in, and all texts in all languages.
///
/// Its sources are the files in `structure` and `texts`, which people and translators edit; the
/// build checks them, and the messages that the code raises against them, and writes the document
/// from them (see generate.py). Nothing of it is parsed or put together at run time.
namespace brunvik::monitoring_modules::definition {

/// The document: one JSON value in one line of UTF-8, the same text at every call.
///
/// It is joined once, while the library is being loaded, and lives until the library is unloaded.
/// Not to be called from the initialisation of another static object. [any-thread], does not block.
const std::string& module_definition_document() noexcept;

}  // namespace brunvik::monitoring_modules::definition
