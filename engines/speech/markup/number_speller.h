// Numbers, dates and currencies in words, in one language, with ICU: its
// rule-based spell-out rules (RuleBasedNumberFormat), number parsing, month
// names, date and time patterns and currency names.  Nothing here is a
// table of words of its own.
//
// A language is named as the engine's voices and xml:lang name it ("en-us",
// "de", "fr-FR", "cmn"); ICU's canonical form of it picks the rules.  Where
// ICU has no spell-out rules for the language (it would fall back to
// another language's), can_spell() is false and every speller call fails,
// so that the caller keeps the digits for the back end to speak.
//
// ICU's formatters are not safe for use by several threads at once, and
// building one costs about a millisecond, so spellers are lent out from a
// process-wide pool (borrow_speller): each borrower has its speller to
// itself, and a returned one serves the next borrower of its language.
// The pool keeps at most kIdleSpellers idle spellers per language and
// kPooledLanguages languages; beyond that, returned spellers are deleted.
#ifndef TAVN_ENGINES_SPEECH_MARKUP_NUMBER_SPELLER_H_
#define TAVN_ENGINES_SPEECH_MARKUP_NUMBER_SPELLER_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include <unicode/unistr.h>

namespace tavn::speech::markup {

constexpr size_t kIdleSpellers = 4;
constexpr size_t kPooledLanguages = 16;

// A number read from text.
struct ParsedNumber {
  double value = 0;
  bool integral = false;  // value is a whole number within int64_t
  int64_t integer = 0;    // value, when integral
};

// One language's formatters.  Not thread-safe: one user at a time (the pool
// sees to that).  Methods fail (false, or "") rather than throw, except for
// std::bad_alloc.
class NumberSpeller {
 public:
  explicit NumberSpeller(std::string_view language);
  ~NumberSpeller();
  NumberSpeller(const NumberSpeller&) = delete;
  NumberSpeller& operator=(const NumberSpeller&) = delete;

  // ICU's canonical name of the language ("en_US"), the pool's key, and its
  // language subtag ("en").
  const std::string& locale_name() const { return locale_name_; }
  const std::string& language() const { return language_; }
  bool can_spell() const { return can_spell_; }

  // Words replacing `*out`.  cardinal: 21 -> "twenty-one" (`counting`: the
  // form that stands before a noun where the language has one, German
  // "ein Euro" rather than "eins"); decimal: 3.14 -> "three point one four";
  // ordinal: 21 -> "twenty-first" (`plural`: the plural forms where the
  // language has them, "vingt-et-unièmes"); year: 1999 -> "nineteen
  // ninety-nine".
  bool cardinal(int64_t n, std::string* out, bool counting = false);
  bool decimal(double v, std::string* out);
  bool ordinal(int64_t n, bool plural, std::string* out);
  bool year(int64_t n, std::string* out);
  // True when the language has plural ordinals of its own.
  bool has_plural_ordinals();

  // A number written as this language writes it ("1,234.5" in English,
  // "1.234,5" in German) or plainly ("-1234.5"); the whole of `text` must
  // be the number, at most 15 significant digits.
  bool parse_number(std::string_view text, ParsedNumber* out);

  // The month's name (1 to 12), as it stands in a date (`standalone`: on
  // its own, where the language distinguishes).
  bool month_name(int month, bool standalone, std::string* out);
  // ICU's date or time pattern for a skeleton ("yMMMMd" -> "MMMM d, y" in
  // English, "d. MMMM y" in German), UTF-8; "" when ICU has none.
  std::string pattern(const char* skeleton);
  // Whether a day of the month is said as an ordinal: in English, and where
  // the language's long date writes the day with a stop ("25. Dezember").
  bool day_is_ordinal();
  // The language's words for the morning and afternoon halves of the day
  // (i = 0, 1), e.g. "AM" and "PM".
  bool am_pm(int i, std::string* out);

  // The currency that `symbol` ("$", "€", "EUR", "usd") stands for in this
  // language or in US English; the ISO code into `iso` (4 bytes, with NUL).
  bool currency_code(std::string_view symbol, char iso[4]);
  // The currency's name for `amount` of it, in the plural form the
  // language uses for that number ("US dollars", "euro").
  bool currency_name(const char* iso, int64_t amount, std::string* out);
  // Digits after the point in amounts of this currency (2 for USD).
  int currency_digits(const char* iso);

 private:
  struct Icu;
  // `n` by the rule set `rules` (empty: the default rules).
  bool format(int64_t n, const icu::UnicodeString& rules, std::string* out);
  // A number as this language writes it, the whole of `text`.
  bool parse_as_written(std::string_view text, double* value);

  std::unique_ptr<Icu> icu_;
  std::string language_;  // the language subtag ("en")
  std::string locale_name_;
  bool can_spell_ = false;
};

// A speller lent from the pool; returned when the lease ends.
class SpellerLease {
 public:
  SpellerLease() = default;
  explicit SpellerLease(std::unique_ptr<NumberSpeller> speller) : speller_(std::move(speller)) {}
  SpellerLease(SpellerLease&&) = default;
  SpellerLease& operator=(SpellerLease&& other) noexcept;
  ~SpellerLease();
  NumberSpeller* get() const { return speller_.get(); }
  NumberSpeller* operator->() const { return speller_.get(); }

 private:
  std::unique_ptr<NumberSpeller> speller_;
};

// A speller for `language`, for the caller alone.  Thread-safe.  Throws
// std::bad_alloc only.
SpellerLease borrow_speller(std::string_view language);

}  // namespace tavn::speech::markup

#endif  // TAVN_ENGINES_SPEECH_MARKUP_NUMBER_SPELLER_H_
