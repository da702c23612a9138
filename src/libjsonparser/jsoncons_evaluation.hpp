#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <jsoncons_ext/jsonpath/jsonpath.hpp>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "libjsonparser/jsoncons_context.hpp"

/// The second part of what jsoncons_context.hpp replaces: expressions and selectors. They do what
/// the library's do, with two more differences: values are passed on instead of copied, and a
/// function is not called anew for arguments that it has just had, as "max" in
/// `$.rows[?(@.t == max($.rows[*].t))]`, once for each row, would be.
namespace jsoncons::jsonpath::detail {

/// What is in a filter, an index or a function's argument, as values and operators in the order in
/// which they are used.
template <>
class token_evaluator<own::json_value, own_reference> final
    : public expression_base<own::json_value, own_reference> {
 public:
  using token_type = token<own::json_value, own_reference>;

  token_evaluator() = default;
  token_evaluator(std::vector<token_type>&& tokens) : tokens_(std::move(tokens)) {}
  token_evaluator(token_evaluator&&) = default;
  token_evaluator& operator=(token_evaluator&&) = default;

  /// A value that has its place in the document, the expression or the context, or one of its own.
  struct item {
    const own::json_value* place = nullptr;
    own::json_value computed = own::json_value::null();
    own_reference value() const { return place != nullptr ? *place : computed; }
  };

  item run(own_context& context, own_reference root, own_reference current, result_options options,
           std::error_code& error) const {
    own::spend(own::price::evaluation + own::price::token * tokens_.size());
    std::vector<item> stack;
    std::vector<item> arguments;
    const auto pop = [&stack] {
      item last = std::move(stack.back());
      stack.pop_back();
      return last;
    };
    for (const auto& token : tokens_) {
      switch (token.token_kind()) {
        case jsonpath_token_kind::literal:
          stack.push_back({&token.get_value(const_reference_arg_t(), context)});
          break;
        case jsonpath_token_kind::root_node:
          stack.push_back({&root});
          break;
        case jsonpath_token_kind::current_node:
          stack.push_back({&current});
          break;
        case jsonpath_token_kind::expression:
          stack.push_back(static_cast<const token_evaluator&>(*token.expression_)
                              .run(context, root, current, options, error));
          break;
        case jsonpath_token_kind::selector: {
          auto start = pop();
          if (start.place == nullptr) {
            start.place = context.create_json(std::move(start.computed));
          }
          stack.push_back({&token.selector_->evaluate(context, root, own_node(), *start.place,
                                                      options, error)});
          break;
        }
        case jsonpath_token_kind::argument:
          arguments.push_back(pop());
          break;
        case jsonpath_token_kind::function:
          stack.push_back(call(context, token, arguments, error));
          if (error) {
            return {};
          }
          arguments.clear();
          break;
        case jsonpath_token_kind::unary_operator: {
          const auto operand = pop();
          stack.push_back({nullptr, token.unary_operator_->evaluate(operand.value(), error)});
          break;
        }
        case jsonpath_token_kind::binary_operator: {
          auto right = pop();
          auto left = pop();
          stack.push_back(
              combine(*token.binary_operator_, std::move(left), std::move(right), error));
          break;
        }
        default:
          break;
      }
    }
    return stack.empty() ? item() : pop();
  }

  /// The value of an index, where a number's text must not be taken for a member's name.
  own::json_value evaluate(own_context& context, own_reference root, own_reference current,
                           result_options options, std::error_code& error) const override {
    auto result = run(context, root, current, options, error);
    if (own::is_large_number(result.value())) {
      return own::json_value::null();
    }
    if (result.place == nullptr) {
      return std::move(result.computed);
    }
    own::before_copy(*result.place);
    return *result.place;
  }

  std::string to_string(int /*level*/) const override { return {}; }

 private:
  static item combine(const binary_operator<own::json_value>& operation, item left, item right,
                      std::error_code& error) {
    constexpr std::size_t of_order = 5;
    constexpr std::size_t of_and = 8;
    constexpr std::size_t of_or = 9;
    const auto level = own::placed_operator::level_of(operation);
    if (level == of_and) {
      return is_true(left.value()) ? std::move(right) : std::move(left);
    }
    if (level == of_or) {
      return is_true(left.value()) ? std::move(left) : std::move(right);
    }
    const auto is_undefined = [](own_reference value) {
      return value.is_double() && std::isnan(value.as_double());
    };
    if (level == of_order && (is_undefined(left.value()) || is_undefined(right.value()))) {
      return {nullptr, own::json_value(false)};  // 0 / 0 is neither above nor below anything
    }
    return {nullptr, operation.evaluate(left.value(), right.value(), error)};
  }

  static item call(own_context& context, const token_type& token, std::vector<item>& arguments,
                   std::error_code& error) {
    const auto& function = *token.function_;
    if (function.arity() && *function.arity() != arguments.size()) {
      error = jsonpath_errc::invalid_arity;
      return {};
    }
    std::vector<const own::json_value*> places;
    bool is_null = false;
    for (const auto& argument : arguments) {
      places.push_back(argument.place);
      is_null = is_null || argument.value().is_null();
      if (argument.value().is_string()) {
        const auto size = argument.value().as_string_view().size();
        own::spend_on_text(2 * size);
        own::evaluation_budget::current()->require(size);  // some functions return their argument
      }
    }
    auto& last = context.last_call_of(&token);
    const bool is_repeated = !places.empty() && last.arguments == places &&
                             std::find(places.begin(), places.end(), nullptr) == places.end();
    if (is_repeated && last.result != nullptr) {
      return {last.result};
    }
    std::vector<parameter<own::json_value>> parameters;
    using argument_type = value_or_pointer<own::json_value, own_reference>;
    for (auto& argument : arguments) {
      parameters.emplace_back(argument.place != nullptr
                                  ? argument_type(argument.place)
                                  : argument_type(std::move(argument.computed)));
    }
    item result{nullptr, function.evaluate(parameters, error)};
    own::spend(own::price::evaluation);
    if (error) {
      auto& state = *own::current_evaluation();
      state.error = state.error || is_null ? state.error : error;
      return {};
    }
    if (is_repeated) {
      last.result = result.place = context.create_json(std::move(result.computed));
    } else {
      last = {std::move(places), nullptr};
    }
    return result;
  }

  std::vector<token_type> tokens_;
};

/// The library would give the length of a number's text, which is none of the document's.
inline bool is_length_of_number(const jsonpath_selector<own::json_value, own_reference>& selector,
                                own_reference value) {
  using name_selector = identifier_selector<own::json_value, own_reference>;
  return own::is_large_number(value) && dynamic_cast<const name_selector*>(&selector) != nullptr;
}

template <>
inline void base_selector<own::json_value, own_reference>::tail_select(
    own_context& context, own_reference root, const own_node& last, own_reference current,
    own_receiver& receiver, result_options options) const {
  own::spend(own::price::node);
  if (tail_ == nullptr) {
    receiver.add(last, current);
  } else if (!is_length_of_number(*tail_, current)) {
    tail_->select(context, root, last, current, receiver, options);
  }
}

template <>
inline own_reference base_selector<own::json_value, own_reference>::evaluate_tail(
    own_context& context, own_reference root, const own_node& last, own_reference current,
    result_options options, std::error_code& error) const {
  own::spend(own::price::node);
  if (tail_ != nullptr && is_length_of_number(*tail_, current)) {
    return context.null_value();
  }
  return tail_ == nullptr ? current : tail_->evaluate(context, root, last, current, options, error);
}

template <>
inline void json_array_receiver<own::json_value, own_reference>::add(const own_node& /*last*/,
                                                                     own_reference value) {
  const auto size = val->size();
  constexpr std::size_t of_growth = 2 * sizeof(own::json_value);
  own::before_copy(value, size == val->capacity() ? (size + 1) * of_growth : 0);
  val->emplace_back(value);
}

template <>
inline void recursive_selector<own::json_value, own_reference>::select(
    own_context& context, own_reference root, const own_node& last, own_reference current,
    own_receiver& receiver, result_options options) const {
  own::spend();
  if (current.is_array()) {
    tail_select(context, root, last, current, receiver, options);
    for (std::size_t index = 0; index < current.size(); ++index) {
      select(context, root, path_generator_type::generate(context, last, index, options),
             current[index], receiver, options);
    }
  } else if (current.is_object()) {
    tail_select(context, root, last, current, receiver, options);
    for (const auto& member : current.object_range()) {
      select(context, root, path_generator_type::generate(context, last, member.key(), options),
             member.value(), receiver, options);
    }
  }
}

template <>
inline void union_selector<own::json_value, own_reference>::select(
    own_context& context, own_reference root, const own_node& last, own_reference current,
    own_receiver& receiver, result_options options) const {
  for (const auto* const selector : selectors_) {
    own::spend(own::price::node);
    if (!is_length_of_number(*selector, current)) {
      selector->select(context, root, last, current, receiver, options);
    }
  }
}

/// The library's own counts beyond the largest integer for a very large step.
template <>
inline void slice_selector<own::json_value, own_reference>::select(
    own_context& context, own_reference root, const own_node& last, own_reference current,
    own_receiver& receiver, result_options options) const {
  if (!current.is_array() || slice_.step() == 0) {
    return;
  }
  const auto size = static_cast<std::int64_t>(current.size());
  const bool is_forward = slice_.step() > 0;
  const auto step = std::clamp(slice_.step(), -size - 1, size + 1);
  auto at = is_forward ? std::max<std::int64_t>(slice_.get_start(current.size()), 0)
                       : std::min(slice_.get_start(current.size()), size - 1);
  const auto end = is_forward ? slice_.get_stop(current.size())
                              : std::max<std::int64_t>(slice_.get_stop(current.size()), -1);
  for (; is_forward ? at < end : at > end; at += step) {
    const auto index = static_cast<std::size_t>(at);
    tail_select(context, root, path_generator_type::generate(context, last, index, options),
                current[index], receiver, options);
  }
}

template <>
inline void filter_selector<own::json_value, own_reference>::select(
    own_context& context, own_reference root, const own_node& last, own_reference current,
    own_receiver& receiver, result_options options) const {
  const auto holds = [&](own_reference value) {
    std::error_code error;
    const auto result = expr_.run(context, root, value, options, error);
    return !error && is_true(result.value());
  };
  if (current.is_array()) {
    for (std::size_t index = 0; index < current.size(); ++index) {
      if (holds(current[index])) {
        tail_select(context, root, path_generator_type::generate(context, last, index, options),
                    current[index], receiver, options);
      }
    }
  } else if (current.is_object()) {
    for (const auto& member : current.object_range()) {
      if (holds(member.value())) {
        tail_select(context, root,
                    path_generator_type::generate(context, last, member.key(), options),
                    member.value(), receiver, options);
      }
    }
  }
}

template <>
inline void function_selector<own::json_value, own_reference>::select(
    own_context& context, own_reference root, const own_node& last, own_reference current,
    own_receiver& receiver, result_options options) const {
  std::error_code error;
  auto result = expr_.run(context, root, current, options, error);
  if (!error) {
    const auto& value =
        result.place != nullptr ? *result.place : *context.create_json(std::move(result.computed));
    tail_select(context, root, last, value, receiver, options);
  }
}

template <>
inline own_reference function_selector<own::json_value, own_reference>::evaluate(
    own_context& context, own_reference root, const own_node& last, own_reference current,
    result_options options, std::error_code& error) const {
  auto result = expr_.run(context, root, current, options, error);
  if (error) {
    return context.null_value();
  }
  const auto& value =
      result.place != nullptr ? *result.place : *context.create_json(std::move(result.computed));
  return evaluate_tail(context, root, last, value, options, error);
}

}  // namespace jsoncons::jsonpath::detail
