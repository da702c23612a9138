#pragma once

#include <cstddef>
#include <deque>
#include <jsoncons_ext/jsonpath/jsonpath.hpp>
#include <memory>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <vector>

#include "libjsonparser/evaluation_budget.hpp"
#include "libjsonparser/jsoncons_operators.hpp"
#include "libjsonparser/jsoncons_value.hpp"

/// Replaces, for `json_value` alone, those parts of the JSON library's JSONPath through which every
/// evaluation goes, so that it pays for what it does (see evaluation_budget.hpp).
namespace brunvik::monitoring_modules::libjsonparser {

/// What each kind of work costs, measured.
namespace price {
inline constexpr std::size_t node = 4;         // one value selected
inline constexpr std::size_t evaluation = 12;  // one expression, without what is in it
inline constexpr std::size_t token = 3;        // one value or operator in it
inline constexpr std::size_t computed = 8;     // a value that is kept until the end
inline constexpr std::size_t number = 50;      // one made of a short text
}  // namespace price

/// Memory for a value that is kept, and for a step of a path.
inline constexpr std::size_t size_of_computed = 48;
inline constexpr std::size_t size_of_step = 112;

inline void weigh(const json_value& value, std::size_t& bytes) {
  constexpr std::size_t of_container = 80;
  constexpr std::size_t of_element = 16;
  constexpr std::size_t of_member = 56;
  if (value.is_string()) {
    spend_on_text(value.as_string_view().size());
    bytes += value.as_string_view().size();
  } else if (value.is_array() || value.is_object()) {
    spend(1 + value.size());
    bytes += of_container + (value.is_array() ? of_element : of_member) * value.size();
  }
  evaluation_budget::current()->require(bytes);
  if (value.is_array()) {
    for (const auto& element : value.array_range()) {
      weigh(element, bytes);
    }
  } else if (value.is_object()) {
    for (const auto& member : value.object_range()) {
      spend_on_text(member.key().size());
      bytes += member.key().size();
      weigh(member.value(), bytes);
    }
  }
}

/// Pays for looking at all that a copy of the value takes, and throws when the memory for it, and
/// for so many bytes besides, is not there. The copy itself then counts through its allocator.
inline void before_copy(const json_value& value, std::size_t bytes = 0) {
  weigh(value, bytes);
}

}  // namespace brunvik::monitoring_modules::libjsonparser

namespace jsoncons::jsonpath {

namespace own = brunvik::monitoring_modules::libjsonparser;

/// Where a path leads: for "^", from the root anew each time.
template <>
inline const own::json_value* select(const own::json_value& root,
                                     const basic_path_node<char>& path) {
  own::spend(own::price::node * path.size());
  std::vector<const basic_path_node<char>*> nodes;
  for (const auto* node = &path; node != nullptr; node = node->parent()) {
    nodes.push_back(node);
  }
  const auto* value = &root;
  for (; !nodes.empty() && value != nullptr; nodes.pop_back()) {
    const auto& node = *nodes.back();
    if (node.node_kind() == path_node_kind::index) {
      value = own::find_element(*value, node.index());
    } else if (node.node_kind() == path_node_kind::name) {
      const auto* const object = std::exchange(value, nullptr);
      if (object->is_object()) {
        const auto member = object->find(node.name());
        value = member == object->object_range().end() ? nullptr : &member->value();
      }
    }
  }
  return value;
}

namespace detail {

using own_reference = const own::json_value&;
using own_node = basic_path_node<char>;
using own_receiver = node_receiver<own::json_value, own_reference>;

/// Holds what is computed until the matches have been used.
template <>
class eval_context<own::json_value, own_reference> {
 public:
  /// A function in the expression, the arguments that it had last, and what it returned for them,
  /// kept from their second time on. Arguments that have the same address are the same: all of them
  /// are in the document, the expression or here.
  struct last_call {
    std::vector<const own::json_value*> arguments;
    const own::json_value* result = nullptr;
  };

  [[nodiscard]] own::counted_allocator<char> get_allocator() const { return {}; }

  [[nodiscard]] bool is_cached(std::size_t id) const { return cache_.contains(id); }
  void add_to_cache(std::size_t id, own_reference value) { cache_.emplace(id, &value); }
  own_reference get_from_cache(std::size_t id) { return *cache_[id]; }
  last_call& last_call_of(const void* function) { return calls_[function]; }

  own_reference null_value() {
    static const own::json_value null{null_type()};
    return null;
  }
  const own::json_value::string_type& length_label() const { return length_label_; }

  template <class First, class... Others>
  own::json_value* create_json(First&& first, Others&&... others) {
    if constexpr (std::is_integral_v<std::remove_cvref_t<First>>) {
      own::spend(2 * first);  // a text's characters have been counted
    }
    own::spend(own::price::computed);
    own::evaluation_budget::current()->allocated(own::size_of_computed);
    values_.push_back(std::make_unique<own::json_value>(std::forward<First>(first),
                                                        std::forward<Others>(others)...));
    return values_.back().get();
  }

  template <class... Args>
  const own_node* create_path_node(Args&&... args) {
    own::evaluation_budget::current()->allocated(own::size_of_step);
    nodes_.push_back(std::make_unique<own_node>(std::forward<Args>(args)...));
    return nodes_.back().get();
  }

 private:
  std::deque<std::unique_ptr<own::json_value>> values_;
  std::deque<std::unique_ptr<own_node>> nodes_;
  std::unordered_map<std::size_t, const own::json_value*> cache_;
  std::unordered_map<const void*, last_call> calls_;
  const own::json_value::string_type length_label_ = "length";
};

using own_context = eval_context<own::json_value, own_reference>;

}  // namespace detail
}  // namespace jsoncons::jsonpath
