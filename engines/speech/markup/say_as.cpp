#include "engines/speech/markup/say_as.h"

#include <cmath>
#include <cstdint>

#include "engines/speech/markup/blanks.h"

namespace tavn::speech::markup {
namespace {

bool is_digit(char c) { return c >= '0' && c <= '9'; }
bool is_letter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

std::string lower(std::string_view s) {
  std::string out(trim_blanks(s));
  for (char& c : out) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return out;
}

// Bytes of the UTF-8 character at `i` (1 for a byte that starts none).
size_t char_len(std::string_view s, size_t i) {
  const auto b = static_cast<unsigned char>(s[i]);
  const size_t len = b >= 0xF0 ? 4 : b >= 0xE0 ? 3 : b >= 0xC0 ? 2 : 1;
  return i + len <= s.size() ? len : 1;
}

// A run of 1 to `max` ASCII digits, the whole of `s`.
bool read_int(std::string_view s, size_t max, int64_t* out) {
  if (s.empty() || s.size() > max) return false;
  int64_t v = 0;
  for (char c : s) {
    if (!is_digit(c)) return false;
    v = v * 10 + (c - '0');
  }
  *out = v;
  return true;
}

// Joins the parts' words: `inner` between two parts of one group (equal
// numbers in `group`), `between` before a part that starts another.
void join(std::vector<SaidPart>* parts, const std::vector<int>& group, const char* inner,
          const char* between) {
  for (size_t i = 0; i + 1 < parts->size(); ++i) {
    (*parts)[i].words += group[i] == group[i + 1] ? inner : between;
  }
}

bool characters(std::string_view content, NumberSpeller* speller, std::vector<SaidPart>* out) {
  for (size_t i = 0, len; i < content.size(); i += len) {
    len = char_len(content, i);
    const char c = content[i];
    if (len == 1 && is_blank(c)) continue;
    SaidPart part{std::string(content.substr(i, len)), i, i + len, false};
    if (is_digit(c)) {
      speller->cardinal(c - '0', &part.words);  // the digit itself where there are no rules
    } else if (c >= 'a' && c <= 'z') {
      part.words[0] = static_cast<char>(c - 'a' + 'A');
    }
    out->push_back(std::move(part));
  }
  join(out, std::vector<int>(out->size()), ", ", ", ");
  return !out->empty();
}

bool digits(std::string_view content, NumberSpeller* speller, std::vector<SaidPart>* out) {
  bool any = false;
  for (size_t i = 0, len; i < content.size(); i += len) {
    len = char_len(content, i);
    if (len == 1 && is_blank(content[i])) continue;
    SaidPart part{std::string(content.substr(i, len)), i, i + len, false};
    if (is_digit(content[i])) {
      if (!speller->cardinal(content[i] - '0', &part.words)) return false;
      any = true;
    }
    out->push_back(std::move(part));
  }
  join(out, std::vector<int>(out->size()), " ", " ");
  return any;
}

// Digits one by one, letters as words, '+', '*' and '#' as they are; any
// other character separates groups.
bool telephone(std::string_view content, NumberSpeller* speller, std::vector<SaidPart>* out) {
  std::vector<int> group;
  int g = 0;
  bool any = false, separated = false;
  for (size_t i = 0; i < content.size();) {
    const char c = content[i];
    size_t len = 1;
    SaidPart part{"", i, i + 1, false};
    if (is_digit(c)) {
      if (!speller->cardinal(c - '0', &part.words)) return false;
      any = true;
    } else if (is_letter(c)) {
      while (i + len < content.size() && is_letter(content[i + len])) ++len;
      part.to = i + len;
      part.words.assign(content.substr(i, len));
    } else if (c == '+' || c == '*' || c == '#') {
      part.words.assign(1, c);
    } else if (static_cast<unsigned char>(c) < 0x80) {
      separated = true;
      ++i;
      continue;
    } else {
      return false;
    }
    if (separated && !out->empty()) ++g;
    separated = false;
    group.push_back(g);
    out->push_back(std::move(part));
    i += len;
  }
  join(out, group, " ", ", ");
  return any;
}

bool cardinal(std::string_view content, NumberSpeller* speller, std::string* words) {
  ParsedNumber n;
  if (!speller->parse_number(content, &n)) return false;
  return n.integral ? speller->cardinal(n.integer, words) : speller->decimal(n.value, words);
}

// Digits with a short ending after them: "21st", "21.", "21e", "21º".
bool ordinal(std::string_view content, NumberSpeller* speller, std::string* words) {
  content = trim_blanks(content);
  size_t n = 0;
  while (n < content.size() && is_digit(content[n])) ++n;
  const std::string_view ending = content.substr(n);
  if (ending.size() > 6) return false;
  for (char c : ending) {
    if (is_digit(c) || is_blank(c)) return false;
  }
  int64_t v;
  return read_int(content.substr(0, n), 15, &v) && speller->ordinal(v, false, words);
}

bool fraction(std::string_view content, NumberSpeller* speller, std::string* words) {
  content = trim_blanks(content);
  const size_t slash = content.find('/');
  if (slash == std::string_view::npos) return false;
  std::string_view top = trim_blanks(content.substr(0, slash));
  std::string_view whole;
  const size_t blank = top.find_last_of(" \t");
  if (blank != std::string_view::npos) {
    whole = trim_blanks(top.substr(0, blank));
    top = top.substr(blank + 1);
  }
  int64_t w = 0, num, den;
  if (!read_int(top, 9, &num) || !read_int(trim_blanks(content.substr(slash + 1)), 9, &den) ||
      den == 0 || (!whole.empty() && !read_int(whole, 9, &w))) {
    return false;
  }
  std::string said, part;
  if (!speller->cardinal(num, &said)) return false;
  if (speller->language() == "en") {
    // English names the parts by ordinals ("three fourths"), halves apart.
    if (den == 2) {
      part = num == 1 ? "half" : "halves";
    } else if (speller->ordinal(den, false, &part)) {
      if (num != 1) part += "s";
    } else {
      return false;
    }
    said += " " + part;
    if (!whole.empty()) {
      std::string w_words;
      if (!speller->cardinal(w, &w_words)) return false;
      said = w_words + " and " + said;
    }
  } else {
    if (!whole.empty() || !speller->has_plural_ordinals() ||
        !speller->ordinal(den, num > 1, &part)) {
      return false;
    }
    said += " " + part;
  }
  *words = std::move(said);
  return true;
}

// The values a date or time pattern is filled with; -1 for none.
struct Fields {
  int64_t year = -1;
  int month = -1, day = -1, hour24 = -1, minute = -1, second = -1, half = -1;
};

// Minutes and seconds: "05" is said as "zero five".
bool two_digits(int v, NumberSpeller* speller, std::string* out) {
  if (v >= 10) return speller->cardinal(v, out);
  std::string zero;
  if (!speller->cardinal(0, &zero) || !speller->cardinal(v, out)) return false;
  *out = zero + " " + *out;
  return true;
}

// The words of one pattern field (`letter` repeated `count` times); true
// with nothing added for fields without a value.
bool field(char letter, size_t count, const Fields& f, NumberSpeller* speller, std::string* out) {
  std::string words;
  bool ok = true;
  switch (letter) {
    case 'y':
    case 'u':
    case 'Y':
    case 'r':
      if (f.year >= 0) ok = speller->year(f.year, &words);
      break;
    case 'M':
    case 'L':
      if (f.month < 0) break;
      ok = count >= 3 ? speller->month_name(f.month, letter == 'L', &words)
                      : speller->cardinal(f.month, &words);
      break;
    case 'd':
      if (f.day < 0) break;
      ok = speller->day_is_ordinal() ? speller->ordinal(f.day, false, &words)
                                     : speller->cardinal(f.day, &words);
      break;
    case 'H':
    case 'k':
    case 'h':
    case 'K': {
      if (f.hour24 < 0) break;
      int h = f.hour24;
      if (letter == 'k' && h == 0) h = 24;
      if (letter == 'h' || letter == 'K') h %= 12;
      if (letter == 'h' && h == 0) h = 12;
      ok = speller->cardinal(h, &words);
      break;
    }
    case 'm':
      if (f.minute >= 0) ok = two_digits(f.minute, speller, &words);
      break;
    case 's':
      if (f.second >= 0) ok = two_digits(f.second, speller, &words);
      break;
    case 'a':
    case 'b':
    case 'B':
      if (f.half >= 0) ok = speller->am_pm(f.half, &words);
      break;
    default:  // weekdays, eras, time zones: not given
      break;
  }
  *out += words;
  return ok;
}

// Fills an ICU date or time pattern: fields in words, quoted and other
// letters kept, punctuation other than commas as blanks.
bool render(std::string_view pattern, const Fields& f, NumberSpeller* speller, std::string* out) {
  std::string s;
  for (size_t i = 0; i < pattern.size();) {
    const char c = pattern[i];
    if (c == '\'') {
      size_t j = i + 1;
      if (j < pattern.size() && pattern[j] == '\'') {
        s += '\'';
        i = j + 1;
        continue;
      }
      while (j < pattern.size() && pattern[j] != '\'') s += pattern[j++];
      i = j + 1;
    } else if (is_letter(c)) {
      size_t n = 1;
      while (i + n < pattern.size() && pattern[i + n] == c) ++n;
      if (!field(c, n, f, speller, &s)) return false;
      i += n;
    } else if (static_cast<unsigned char>(c) < 0x80) {
      s += c == ',' ? ',' : ' ';
      ++i;
    } else {
      const size_t len = char_len(pattern, i);
      const std::string_view ch = pattern.substr(i, len);
      // No-break and thin spaces between fields read as blanks.
      const bool space = ch == "\xC2\xA0" || ch == "\xE2\x80\xAF" || ch == "\xE2\x80\x89";
      s += space ? std::string_view(" ") : ch;
      i += len;
    }
  }
  // One blank between words, none before a comma or at the ends.
  out->clear();
  for (char c : s) {
    if (c == ' ' && (out->empty() || out->back() == ' ')) continue;
    if (c == ',' && !out->empty() && out->back() == ' ') out->pop_back();
    *out += c;
  }
  while (!out->empty() && (out->back() == ' ' || out->back() == ',')) out->pop_back();
  return !out->empty();
}

// The order of year, month and day in a pattern, as a format ("mdy").
std::string order_of(std::string_view pattern) {
  std::string order;
  bool quoted = false;
  for (char c : pattern) {
    if (c == '\'') quoted = !quoted;
    if (quoted) continue;
    const char k = c == 'y' ? 'y' : (c == 'M' || c == 'L') ? 'm' : c == 'd' ? 'd' : 0;
    if (k != 0 && order.find(k) == std::string::npos) order += k;
  }
  return order.size() == 3 ? order : "mdy";
}

bool date(std::string_view format, std::string_view content, NumberSpeller* speller,
          std::string* words) {
  std::vector<std::string_view> parts;
  for (size_t i = 0; i < content.size();) {
    if (!is_digit(content[i])) {
      const char c = content[i];
      if (!is_blank(c) && c != '-' && c != '/' && c != '.' && c != ',') return false;
      ++i;
      continue;
    }
    size_t n = 0;
    while (i + n < content.size() && is_digit(content[i + n])) ++n;
    if (n > 4 || parts.size() == 3) return false;
    parts.push_back(content.substr(i, n));
    i += n;
  }
  std::string order = lower(format);
  if (order.empty() && parts.size() == 3) {
    order = parts[0].size() == 4 ? "ymd" : order_of(speller->pattern("yMd"));
  }
  static const char* const kFormats[] = {"mdy", "dmy", "ymd", "md", "dm",
                                         "ym",  "my",  "d",   "m",  "y"};
  bool known = false;
  for (const char* k : kFormats) known = known || order == k;
  if (!known || order.size() != parts.size()) return false;

  Fields f;
  for (size_t i = 0; i < order.size(); ++i) {
    int64_t v;
    if (!read_int(parts[i], 4, &v)) return false;
    if (order[i] == 'y') f.year = v;
    if (order[i] == 'm') f.month = static_cast<int>(v);
    if (order[i] == 'd') f.day = static_cast<int>(v);
  }
  if (f.month != -1 && (f.month < 1 || f.month > 12)) return false;
  if (f.day != -1) {
    int last = 31;
    if (f.month == 4 || f.month == 6 || f.month == 9 || f.month == 11) last = 30;
    if (f.month == 2) {
      const bool leap = f.year < 0 || (f.year % 4 == 0 && (f.year % 100 != 0 || f.year % 400 == 0));
      last = leap ? 29 : 28;
    }
    if (f.day < 1 || f.day > last) return false;
  }
  const bool y = f.year >= 0, m = f.month >= 0, d = f.day >= 0;
  const char* skeleton = y && m && d ? "yMMMMd"
                         : m && d    ? "MMMMd"
                         : y && m    ? "yMMMM"
                         : d         ? "d"
                         : m         ? "MMMM"
                                     : "y";
  const std::string pattern = speller->pattern(skeleton);
  return !pattern.empty() && render(pattern, f, speller, words);
}

// "am", "a.m.", "PM" or the language's own words for the halves of the day.
int half_of_day(std::string_view marker, NumberSpeller* speller) {
  auto squeeze = [](std::string_view s) {
    std::string out;
    for (char c : lower(s)) {
      if (c != '.' && !is_blank(c)) out += c;
    }
    return out;
  };
  const std::string m = squeeze(marker);
  for (int i = 0; i < 2; ++i) {
    std::string own;
    if (m == (i == 0 ? "am" : "pm") || (speller->am_pm(i, &own) && m == squeeze(own))) return i;
  }
  return -1;
}

bool time_of_day(std::string_view format, std::string_view content, NumberSpeller* speller,
                 std::string* words) {
  content = trim_blanks(content);
  int64_t v[3] = {-1, -1, -1};
  size_t i = 0;
  for (int k = 0; k < 3; ++k) {
    if (k > 0) {
      if (i >= content.size() || content[i] != ':') break;
      ++i;
    }
    size_t n = 0;
    while (i + n < content.size() && is_digit(content[i + n])) ++n;
    if (n == 0 || n > 2 || (k > 0 && n != 2) || !read_int(content.substr(i, n), 2, &v[k])) {
      return false;
    }
    i += n;
  }
  const std::string_view marker = trim_blanks(content.substr(i));
  const int half = marker.empty() ? -1 : half_of_day(marker, speller);
  if (!marker.empty() && half < 0) return false;
  std::string kind = lower(format);
  if (kind.empty()) kind = half >= 0 ? "hms12" : "hms24";
  const bool twelve = kind == "hms12";
  if ((!twelve && kind != "hms24") || (!twelve && half >= 0) || (v[1] < 0 && half < 0))
    return false;
  if (twelve ? v[0] < 1 || v[0] > 12 : v[0] > 23) return false;
  if (v[1] > 59 || v[2] > 59) return false;

  Fields f;
  f.hour24 = static_cast<int>(twelve ? v[0] % 12 + (half == 1 ? 12 : 0) : v[0]);
  f.minute = static_cast<int>(v[1]);
  f.second = static_cast<int>(v[2]);
  f.half = half;
  const bool on_the_hour = f.minute <= 0 && f.second < 0;
  if (on_the_hour) f.minute = -1;
  const char* skeleton = twelve ? (on_the_hour     ? "ha"
                                   : f.second >= 0 ? "hms"
                                                   : "hm")
                                : (on_the_hour     ? "H"
                                   : f.second >= 0 ? "Hms"
                                                   : "Hm");
  const std::string pattern = speller->pattern(skeleton);
  return !pattern.empty() && render(pattern, f, speller, words);
}

bool currency(std::string_view content, NumberSpeller* speller, std::string* words) {
  content = trim_blanks(content);
  const size_t first = content.find_first_of("0123456789");
  const size_t last = content.find_last_of("0123456789");
  if (first == std::string_view::npos || content.size() > 64) return false;
  std::string_view before = trim_blanks(content.substr(0, first));
  const std::string_view after = trim_blanks(content.substr(last + 1));
  bool negative = false;
  if (!before.empty() && before.front() == '-') {
    negative = true;
    before = trim_blanks(before.substr(1));
  } else if (!before.empty() && before.back() == '-') {
    negative = true;
    before = trim_blanks(before.substr(0, before.size() - 1));
  }
  if (before.empty() == after.empty()) return false;  // one symbol or code, on one side
  char iso[4];
  ParsedNumber n;
  if (!speller->currency_code(before.empty() ? after : before, iso) ||
      !speller->parse_number(content.substr(first, last + 1 - first), &n) || n.value < 0) {
    return false;
  }
  int64_t scale = 1;
  for (int k = speller->currency_digits(iso); k > 0; --k) scale *= 10;
  auto major = static_cast<int64_t>(std::floor(n.value));
  int64_t minor = std::llround((n.value - static_cast<double>(major)) * static_cast<double>(scale));
  if (minor >= scale) {
    ++major;
    minor -= scale;
  }
  std::string amount, name, cents;
  if (!speller->cardinal(negative ? -major : major, &amount, true) ||
      !speller->currency_name(iso, major, &name) ||
      (minor > 0 && !speller->cardinal(minor, &cents))) {
    return false;
  }
  *words = amount + " " + name;
  if (minor > 0) *words += " " + cents;
  return true;
}

}  // namespace

bool say_as(std::string_view interpret_as, std::string_view format, std::string_view content,
            NumberSpeller* speller, std::vector<SaidPart>* out) {
  out->clear();
  const std::string kind = lower(interpret_as);
  if (kind == "characters" || kind == "spell-out") return characters(content, speller, out);
  if (kind == "digits") return digits(content, speller, out);
  if (kind == "telephone") return telephone(content, speller, out);
  SaidPart whole{"", 0, 0, true};
  bool ok = false;
  if (kind == "cardinal" || kind == "number") {
    ok = cardinal(content, speller, &whole.words);
  } else if (kind == "ordinal") {
    ok = ordinal(content, speller, &whole.words);
  } else if (kind == "fraction") {
    ok = fraction(content, speller, &whole.words);
  } else if (kind == "date") {
    ok = date(format, content, speller, &whole.words);
  } else if (kind == "time") {
    ok = time_of_day(format, content, speller, &whole.words);
  } else if (kind == "currency") {
    ok = currency(content, speller, &whole.words);
  }
  if (ok) out->push_back(std::move(whole));
  return ok;
}

}  // namespace tavn::speech::markup
