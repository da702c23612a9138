#include "libjsonparser/jsonpath_expressions.hpp"

#include <list>
#include <mutex>
#include <string_view>
#include <unordered_map>

#include "libjsonparser/jsonpath_expression.hpp"

namespace brunvik::monitoring_modules::libjsonparser {

struct jsonpath_expressions::kept {
  struct entry {
    std::string text;
    std::shared_ptr<const jsonpath_expression> expression;
  };

  explicit kept(std::size_t bound) : capacity(bound) {}

  // All functions: call with the mutex held.

  std::shared_ptr<const jsonpath_expression> find(const std::string& text) {
    const auto position = by_text.find(text);
    if (position == by_text.end()) {
      return nullptr;
    }
    entries.splice(entries.begin(), entries, position->second);
    return position->second->expression;
  }

  void add(const std::string& text, std::shared_ptr<const jsonpath_expression> expression) {
    ++compilations;
    if (capacity == 0 || by_text.contains(text)) {  // another thread was faster
      return;
    }
    entries.push_front({text, std::move(expression)});
    by_text.emplace(entries.front().text, entries.begin());
    if (entries.size() > capacity) {
      by_text.erase(entries.back().text);
      entries.pop_back();
    }
  }

  const std::size_t capacity;
  std::mutex mutex;
  std::size_t compilations = 0;
  std::list<entry> entries;  // the one that was used last comes first
  std::unordered_map<std::string_view, std::list<entry>::iterator> by_text;  // views into entries
};

jsonpath_expressions::jsonpath_expressions(std::size_t capacity)
    : kept_(std::make_unique<kept>(capacity)) {}

jsonpath_expressions::~jsonpath_expressions() = default;

std::shared_ptr<const jsonpath_expression> jsonpath_expressions::compile(const std::string& text) {
  {
    const std::lock_guard lock(kept_->mutex);
    if (auto expression = kept_->find(text)) {
      return expression;
    }
  }
  auto expression = std::make_shared<const jsonpath_expression>(text);
  const std::lock_guard lock(kept_->mutex);
  kept_->add(text, expression);
  return expression;
}

std::size_t jsonpath_expressions::size() const {
  const std::lock_guard lock(kept_->mutex);
  return kept_->entries.size();
}

std::size_t jsonpath_expressions::compilations() const {
  const std::lock_guard lock(kept_->mutex);
  return kept_->compilations;
}

}  // namespace brunvik::monitoring_modules::libjsonparser
