// SPDX-License-Identifier: Apache-2.0
// The right word for a misspelt one, if there is one near enough to be meant.
#pragma once

#include <cstddef>
#include <string_view>

#include "base/Text.h"

namespace qsc
{

/// How many letters to change, add, drop or swap with their neighbour, whatever their case. Texts beyond 255
/// characters are cut.
[[nodiscard]] std::size_t edit_distance(std::string_view first, std::string_view second);

/// Finds the word that is nearest to a misspelt one.
class Suggestion
{
  public:
    explicit Suggestion(std::string_view given) : given_(given) {}

    void consider(std::string_view candidate);

    /// The nearest word; empty: none is near enough that it could be meant.
    [[nodiscard]] std::string_view best() const { return best_; }

  private:
    std::string_view given_;
    std::string_view best_;
    std::size_t distance_ = static_cast<std::size_t>(-1);
};

/// The end of a sentence that says what is not there: "; did you mean 'WORD'?", or just ".".
class Hint
{
  public:
    explicit Hint(std::string_view word)
    {
        if (word.empty()) {
            text_.append(".");
        } else {
            text_.append("; did you mean '").append(word).append("'?");
        }
    }
    explicit Hint(const Suggestion& suggestion) : Hint(suggestion.best()) {}

    [[nodiscard]] const char* c_str() const { return text_.c_str(); }

  private:
    Text<600> text_;
};

} // namespace qsc
