// SPDX-License-Identifier: Apache-2.0
#include "info/json.h"

#include <nlohmann/json.hpp>

namespace dibkit::tool {

struct JsonLine::Object {
  nlohmann::ordered_json members = nlohmann::ordered_json::object();
};

JsonLine::JsonLine() : object_(std::make_unique<Object>()) {}

JsonLine::~JsonLine() = default;

void JsonLine::AddText(const std::string& name, const std::string& value) {
  object_->members[name] = value;
}

void JsonLine::AddNumber(const std::string& name, int64_t value) { object_->members[name] = value; }

void JsonLine::AddFlag(const std::string& name, bool value) { object_->members[name] = value; }

std::string JsonLine::Text() const {
  return object_->members.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

}  // namespace dibkit::tool
