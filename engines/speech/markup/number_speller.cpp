#include "engines/speech/markup/number_speller.h"

#include <unicode/curramt.h>
#include <unicode/dtfmtsym.h>
#include <unicode/dtptngen.h>
#include <unicode/locid.h>
#include <unicode/numfmt.h>
#include <unicode/plurrule.h>
#include <unicode/rbnf.h>
#include <unicode/ucurr.h>
#include <unicode/unistr.h>

#include <charconv>
#include <cmath>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "engines/speech/markup/blanks.h"

namespace tavn::speech::markup {

// Largest magnitude read as a number: beyond it a double no longer holds
// every digit, and the words would not say what was written.
constexpr double kLargestNumber = 1e15;

struct NumberSpeller::Icu {
  icu::Locale locale;
  std::unique_ptr<icu::RuleBasedNumberFormat> spellout;
  icu::UnicodeString counting_rules, ordinal_rules, plural_ordinal_rules, year_rules;
  // Made when first needed.
  std::unique_ptr<icu::NumberFormat> numbers, currencies, us_currencies;
  std::unique_ptr<icu::DateFormatSymbols> symbols;
  std::unique_ptr<icu::DateTimePatternGenerator> patterns;
  std::unique_ptr<icu::PluralRules> plurals;
  int day_ordinal = -1;  // -1: not known yet
};

namespace {

// UTF-8 of `s`, without the soft hyphens that some languages' rules put
// between the parts of long words ("ein\u00ADtausend").
std::string words(const icu::UnicodeString& s) {
  icu::UnicodeString copy(s);
  copy.findAndReplace(icu::UnicodeString(static_cast<UChar>(0x00AD)), icu::UnicodeString());
  std::string out;
  copy.toUTF8String(out);
  return out;
}

icu::UnicodeString unicode(std::string_view s) {
  return icu::UnicodeString::fromUTF8(icu::StringPiece(s.data(), static_cast<int32_t>(s.size())));
}

bool starts_with(const icu::UnicodeString& s, const char* prefix) {
  return s.startsWith(icu::UnicodeString(prefix, -1, US_INV));
}

// "[+|-]digits[.digits]", the way every language can be written plainly.
bool parse_plain(std::string_view s, ParsedNumber* out) {
  std::string_view digits = s;
  if (!digits.empty() && (digits[0] == '+' || digits[0] == '-')) digits.remove_prefix(1);
  const size_t point = digits.find('.');
  const std::string_view whole = digits.substr(0, point);
  const std::string_view part = point == std::string_view::npos ? "" : digits.substr(point + 1);
  if (whole.empty() || (point != std::string_view::npos && part.empty())) return false;
  for (std::string_view run : {whole, part}) {
    for (char c : run) {
      if (c < '0' || c > '9') return false;
    }
  }
  const char* from = s[0] == '+' ? s.data() + 1 : s.data();
  const auto [end, ec] = std::from_chars(from, s.data() + s.size(), out->value);
  return ec == std::errc() && end == s.data() + s.size();
}

// ICU's locale for a language as the engine names it ("en-us" -> en_US,
// "cmn" -> zh).
icu::Locale locale_for(std::string_view language) {
  std::string name(language);
  for (char& c : name) {
    if (c == '-') c = '_';
  }
  return icu::Locale::createCanonical(name.c_str());
}

}  // namespace

NumberSpeller::NumberSpeller(std::string_view language) : icu_(std::make_unique<Icu>()) {
  icu_->locale = locale_for(language);
  locale_name_ = icu_->locale.getName();
  language_ = icu_->locale.getLanguage();
  if (language_.empty() || icu_->locale.isBogus()) return;
  UErrorCode status = U_ZERO_ERROR;
  auto spellout =
      std::make_unique<icu::RuleBasedNumberFormat>(icu::URBNF_SPELLOUT, icu_->locale, status);
  if (U_FAILURE(status)) return;
  // Where ICU has no rules for the language, it falls back to the default
  // locale's (or the root's): then the digits are better than those words.
  status = U_ZERO_ERROR;
  const icu::Locale actual = spellout->getLocale(ULOC_ACTUAL_LOCALE, status);
  if (U_FAILURE(status) || language_ != actual.getLanguage()) return;

  icu::UnicodeString first_ordinal;
  for (int32_t i = 0; i < spellout->getNumberOfRuleSetNames(); ++i) {
    const icu::UnicodeString rules = spellout->getRuleSetName(i);
    const bool ordinal = starts_with(rules, "%spellout-ordinal");
    const bool plural = rules.indexOf(icu::UnicodeString("plural", -1, US_INV)) >= 0;
    if (rules == icu::UnicodeString("%spellout-ordinal", -1, US_INV) ||
        (rules == icu::UnicodeString("%spellout-ordinal-masculine", -1, US_INV) &&
         icu_->ordinal_rules.isEmpty())) {
      icu_->ordinal_rules = rules;
    } else if (ordinal && plural && icu_->plural_ordinal_rules.isEmpty()) {
      icu_->plural_ordinal_rules = rules;
    } else if (ordinal && !plural && first_ordinal.isEmpty()) {
      first_ordinal = rules;
    } else if (rules == icu::UnicodeString("%spellout-numbering-year", -1, US_INV)) {
      icu_->year_rules = rules;
    } else if (rules == icu::UnicodeString("%spellout-cardinal", -1, US_INV) ||
               (rules == icu::UnicodeString("%spellout-cardinal-masculine", -1, US_INV) &&
                icu_->counting_rules.isEmpty())) {
      icu_->counting_rules = rules;
    }
  }
  if (icu_->ordinal_rules.isEmpty()) icu_->ordinal_rules = first_ordinal;
  icu_->spellout = std::move(spellout);
  can_spell_ = true;
}

NumberSpeller::~NumberSpeller() = default;

bool NumberSpeller::cardinal(int64_t n, std::string* out, bool counting) {
  return format(n, counting ? icu_->counting_rules : icu::UnicodeString(), out);
}

bool NumberSpeller::decimal(double v, std::string* out) {
  if (!can_spell_ || !std::isfinite(v)) return false;
  icu::UnicodeString s;
  icu_->spellout->format(v, s);
  *out = words(s);
  return !out->empty();
}

bool NumberSpeller::ordinal(int64_t n, bool plural, std::string* out) {
  const icu::UnicodeString& rules = plural && !icu_->plural_ordinal_rules.isEmpty()
                                        ? icu_->plural_ordinal_rules
                                        : icu_->ordinal_rules;
  return !rules.isEmpty() && format(n, rules, out);
}

bool NumberSpeller::has_plural_ordinals() {
  return can_spell_ && !icu_->plural_ordinal_rules.isEmpty();
}

bool NumberSpeller::year(int64_t n, std::string* out) { return format(n, icu_->year_rules, out); }

bool NumberSpeller::format(int64_t n, const icu::UnicodeString& rules, std::string* out) {
  if (!can_spell_) return false;
  icu::UnicodeString s;
  if (rules.isEmpty()) {
    icu_->spellout->format(n, s);
  } else {
    icu::FieldPosition pos;
    UErrorCode status = U_ZERO_ERROR;
    icu_->spellout->format(n, rules, s, pos, status);
    if (U_FAILURE(status)) return false;
  }
  *out = words(s);
  return !out->empty();
}

bool NumberSpeller::parse_number(std::string_view text, ParsedNumber* out) {
  text = trim_blanks(text);
  if (!can_spell_ || text.empty() || text.size() > 40) return false;
  // The language's way first: "1.234" is a thousand and more in German.
  if (!parse_as_written(text, &out->value) && !parse_plain(text, out)) return false;
  if (!std::isfinite(out->value) || std::fabs(out->value) >= kLargestNumber) return false;
  out->integral = out->value == std::floor(out->value);
  out->integer = out->integral ? static_cast<int64_t>(out->value) : 0;
  return true;
}

bool NumberSpeller::parse_as_written(std::string_view text, double* value) {
  UErrorCode status = U_ZERO_ERROR;
  if (!icu_->numbers) {
    icu_->numbers.reset(icu::NumberFormat::createInstance(icu_->locale, status));
    if (U_FAILURE(status) || !icu_->numbers) {
      icu_->numbers.reset();
      return false;
    }
  }
  const icu::UnicodeString u = unicode(text);
  icu::Formattable number;
  icu::ParsePosition pos(0);
  icu_->numbers->parse(u, number, pos);
  if (pos.getIndex() != u.length() || pos.getErrorIndex() >= 0) return false;
  *value = number.getDouble(status);
  return U_SUCCESS(status);
}

bool NumberSpeller::month_name(int month, bool standalone, std::string* out) {
  if (!can_spell_ || month < 1 || month > 12) return false;
  UErrorCode status = U_ZERO_ERROR;
  if (!icu_->symbols) {
    auto symbols = std::make_unique<icu::DateFormatSymbols>(icu_->locale, status);
    if (U_FAILURE(status)) return false;
    icu_->symbols = std::move(symbols);
  }
  int32_t count = 0;
  const icu::UnicodeString* months = icu_->symbols->getMonths(
      count, standalone ? icu::DateFormatSymbols::STANDALONE : icu::DateFormatSymbols::FORMAT,
      icu::DateFormatSymbols::WIDE);
  if (months == nullptr || count < month) return false;
  *out = words(months[month - 1]);
  return !out->empty();
}

bool NumberSpeller::am_pm(int i, std::string* out) {
  std::string unused;
  if (i < 0 || i > 1 || !month_name(1, false, &unused)) return false;  // makes the symbols
  int32_t count = 0;
  const icu::UnicodeString* halves = icu_->symbols->getAmPmStrings(count);
  if (halves == nullptr || count <= i) return false;
  *out = words(halves[i]);
  return !out->empty();
}

std::string NumberSpeller::pattern(const char* skeleton) {
  if (!can_spell_) return "";
  UErrorCode status = U_ZERO_ERROR;
  if (!icu_->patterns) {
    icu_->patterns.reset(icu::DateTimePatternGenerator::createInstance(icu_->locale, status));
    if (U_FAILURE(status) || !icu_->patterns) {
      icu_->patterns.reset();
      return "";
    }
  }
  const icu::UnicodeString p =
      icu_->patterns->getBestPattern(icu::UnicodeString(skeleton, -1, US_INV), status);
  if (U_FAILURE(status)) return "";
  std::string out;
  p.toUTF8String(out);
  return out;
}

bool NumberSpeller::day_is_ordinal() {
  if (icu_->day_ordinal < 0) {
    icu_->day_ordinal = language_ == "en" || pattern("yMMMMd").find("d.") != std::string::npos;
  }
  return icu_->day_ordinal == 1;
}

bool NumberSpeller::currency_code(std::string_view symbol, char iso[4]) {
  symbol = trim_blanks(symbol);
  if (!can_spell_ || symbol.empty() || symbol.size() > 16) return false;
  UErrorCode status = U_ZERO_ERROR;
  if (symbol.size() == 3) {
    UChar code[4] = {0, 0, 0, 0};
    bool letters = true;
    for (size_t i = 0; i < 3; ++i) {
      char c = symbol[i];
      if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
      letters = letters && c >= 'A' && c <= 'Z';
      iso[i] = c;
      code[i] = static_cast<UChar>(c);
    }
    iso[3] = '\0';
    if (letters)
      return ucurr_isAvailable(code, U_DATE_MIN, U_DATE_MAX, &status) && U_SUCCESS(status);
  }
  // A symbol: the currency that ICU reads from it in an amount, first in
  // this language, then in US English (which knows $, €, £ and ¥).
  for (auto* parser : {&icu_->currencies, &icu_->us_currencies}) {
    if (!*parser) {
      status = U_ZERO_ERROR;
      parser->reset(icu::NumberFormat::createCurrencyInstance(
          parser == &icu_->currencies ? icu_->locale : icu::Locale::getUS(), status));
      if (U_FAILURE(status)) parser->reset();
      if (!*parser) continue;
    }
    const icu::UnicodeString amount = unicode(symbol) + icu::UnicodeString("1", -1, US_INV);
    icu::ParsePosition pos(0);
    std::unique_ptr<icu::CurrencyAmount> found((*parser)->parseCurrency(amount, pos));
    if (found && pos.getIndex() == amount.length()) {
      u_UCharsToChars(found->getISOCurrency(), iso, 3);
      iso[3] = '\0';
      return true;
    }
  }
  return false;
}

bool NumberSpeller::currency_name(const char* iso, int64_t amount, std::string* out) {
  if (!can_spell_) return false;
  UErrorCode status = U_ZERO_ERROR;
  if (!icu_->plurals) {
    icu_->plurals.reset(icu::PluralRules::forLocale(icu_->locale, status));
    if (U_FAILURE(status)) icu_->plurals.reset();
  }
  UChar code[4];
  u_charsToUChars(iso, code, 4);
  std::string keyword = "other";
  if (icu_->plurals) {
    keyword.clear();
    icu_->plurals->select(static_cast<double>(amount)).toUTF8String(keyword);
  }
  UBool is_choice = false;
  int32_t length = 0;
  status = U_ZERO_ERROR;
  const UChar* name = ucurr_getPluralName(code, locale_name_.c_str(), &is_choice, keyword.c_str(),
                                          &length, &status);
  if (U_FAILURE(status) || name == nullptr) {
    status = U_ZERO_ERROR;
    name = ucurr_getName(code, locale_name_.c_str(), UCURR_LONG_NAME, &is_choice, &length, &status);
    if (U_FAILURE(status) || name == nullptr) return false;
  }
  *out = words(icu::UnicodeString(name, length));
  return !out->empty();
}

int NumberSpeller::currency_digits(const char* iso) {
  UChar code[4];
  u_charsToUChars(iso, code, 4);
  UErrorCode status = U_ZERO_ERROR;
  const int32_t digits = ucurr_getDefaultFractionDigits(code, &status);
  return U_SUCCESS(status) && digits >= 0 && digits <= 4 ? digits : 2;
}

namespace {

struct Pool {
  std::mutex mutex;
  std::unordered_map<std::string, std::vector<std::unique_ptr<NumberSpeller>>> idle;
};

Pool& pool() {
  static Pool* p = new Pool;  // never destroyed: spellers may be returned during exit
  return *p;
}

}  // namespace

SpellerLease& SpellerLease::operator=(SpellerLease&& other) noexcept {
  if (this != &other) {
    SpellerLease old(std::move(*this));
    speller_ = std::move(other.speller_);
  }
  return *this;
}

SpellerLease::~SpellerLease() {
  if (!speller_) return;
  Pool& p = pool();
  try {
    std::lock_guard<std::mutex> lock(p.mutex);
    auto it = p.idle.find(speller_->locale_name());
    if (it == p.idle.end()) {
      if (p.idle.size() >= kPooledLanguages) return;
      it = p.idle.emplace(speller_->locale_name(), std::vector<std::unique_ptr<NumberSpeller>>())
               .first;
    }
    if (it->second.size() < kIdleSpellers) it->second.push_back(std::move(speller_));
  } catch (...) {
    // No room to keep it: the speller is deleted below.
  }
}

SpellerLease borrow_speller(std::string_view language) {
  // Spellers are filed under ICU's name of their language, so "en-us" and
  // "en_US" share them.
  const std::string key = locale_for(language).getName();
  Pool& p = pool();
  {
    std::lock_guard<std::mutex> lock(p.mutex);
    auto it = p.idle.find(key);
    if (it != p.idle.end() && !it->second.empty()) {
      std::unique_ptr<NumberSpeller> s = std::move(it->second.back());
      it->second.pop_back();
      return SpellerLease(std::move(s));
    }
  }
  return SpellerLease(std::make_unique<NumberSpeller>(language));
}

}  // namespace tavn::speech::markup
