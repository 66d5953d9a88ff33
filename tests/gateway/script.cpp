#include "tests/gateway/script.h"

#include <algorithm>
#include <fstream>
#include <sstream>

namespace fs = std::filesystem;

namespace {

std::vector<std::string> split(const std::string& text, const std::string& separator) {
  std::vector<std::string> parts;
  std::size_t start = 0, end = 0;
  while ((end = text.find(separator, start)) != std::string::npos) {
    parts.push_back(text.substr(start, end - start));
    start = end + separator.size();
  }
  parts.push_back(text.substr(start));
  return parts;
}

/// What is put in may hold names again. Of two that begin alike the longer is tried first.
std::string replaced(std::string text, const std::map<std::string, std::string>& names) {
  for (auto name = names.rbegin(); name != names.rend();) {
    const std::string mark = "$" + name->first;
    const std::size_t at = text.find(mark);
    if (at == std::string::npos) {
      ++name;
    } else {
      text.replace(at, mark.size(), name->second);
      name = names.rbegin();
    }
  }
  return text;
}

std::u16string unitsOf(const std::string& quoted) {
  std::u16string units;
  for (std::size_t i = 0; i < quoted.size(); ++i) {
    if (quoted[i] != '\\') {
      units += static_cast<char16_t>(static_cast<unsigned char>(quoted[i]));
    } else if (quoted[++i] == 'u') {
      units += static_cast<char16_t>(std::stoi(quoted.substr(i + 1, 4), nullptr, 16));
      i += 4;
    } else {
      units += quoted[i] == '0' ? u'\0' : static_cast<char16_t>(quoted[i]);
    }
  }
  return units;
}

vlClassID classNamed(const std::string& name) {
  for (const vlClassID id : allClasses) {
    if (name == vlGetClassName(oneOf(id).get())) return id;
  }
  return vlUNKNOWN_CLASS;
}

/// The elements go over and over into all of the array.
template <typename Elements>
void fill(const Array& array, const Elements& elements) {
  std::size_t i = 0;
  if (elements.empty()) return;
  visitElements(array.get(), [&](auto* first, std::size_t count) {
    using Element = std::remove_pointer_t<decltype(first)>;
    std::generate_n(first, count,
                    [&] { return static_cast<Element>(elements[i++ % elements.size()]); });
  });
}

/// What stands behind the closing quote or bracket: :2x3 or *4.
Dims dimsFrom(const std::string& suffix, std::size_t count) {
  if (suffix.empty()) return {1, count};
  if (suffix[0] == '*') return {1, count * std::stoul(suffix.substr(1))};
  Dims dims;
  for (const std::string& extent : split(suffix.substr(1), "x")) dims.push_back(std::stoul(extent));
  return dims;
}

Input textFrom(const std::string& word) {
  const std::size_t end = word.rfind('"');
  const std::u16string units = unitsOf(word.substr(1, end - 1));
  Array array = newArray(vlCHAR_CLASS, dimsFrom(word.substr(end + 1), units.size()));
  fill(array, units);
  return array;
}

Input listFrom(const std::string& word) {
  const std::size_t begin = word.find('['), end = word.find(']');
  List values;
  for (const std::string& number : wordsOf(word.substr(begin + 1, end - begin - 1))) {
    values.push_back(std::stod(number));
  }
  const vlClassID id = begin == 0 ? vlDOUBLE_CLASS : classNamed(word.substr(0, begin));
  Array array = newArray(id, dimsFrom(word.substr(end + 1), values.size()));
  fill(array, values);
  return array;
}

/// What an output shows if it is as expected.
std::string expectedOutput(const std::string& text, const std::string& shown) {
  const std::size_t inner = text.size() - 2;
  if (text == "_") return shown;
  if (text[0] == '"') return "char 1x" + std::to_string(inner) + ": " + text.substr(1, inner);
  if (text[0] == '<') {
    const double seen = std::stod(shown.substr(shown.find(": ") + 2));
    return seen > 0 && seen < std::stod(text.substr(1)) ? shown : text;
  }
  if (text.rfind("shape ", 0) == 0) return text.substr(6) + shown.substr(shown.find(':'));
  return text.find(':') == std::string::npos ? "double 1x1: " + text : text;
}

}  // namespace

std::vector<std::string> wordsOf(const std::string& text) {
  std::vector<std::string> words(1);
  bool quoted = false;
  int depth = 0;
  for (const char letter : text) {
    if (letter == '"') quoted = !quoted;
    if (!quoted && (letter == '[' || letter == '(')) ++depth;
    if (!quoted && (letter == ']' || letter == ')')) --depth;
    if (letter != ' ' || quoted || depth > 0) {
      words.back() += letter;
    } else if (!words.back().empty()) {
      words.emplace_back();
    }
  }
  if (words.back().empty()) words.pop_back();
  return words;
}

std::vector<Script> scriptsIn(const fs::path& path) {
  std::vector<Script> scripts;
  std::ifstream file(path);
  std::vector<Line> common;
  std::vector<Line>* lines = &common;
  int number = 0;
  std::size_t indent = 0;
  for (std::string text; std::getline(file, text);) {
    ++number;
    const std::size_t begin = text.find_first_not_of(' ');
    if (begin == std::string::npos || text[begin] == '#') continue;
    if (text.rfind("== ", 0) == 0) {
      scripts.push_back({path.stem(), text.substr(3), common});
      lines = &scripts.back().lines;
    } else if (begin > indent) {
      lines->back().text += text.substr(begin - 1);
    } else {
      lines->push_back({number, text.substr(begin)});
      if (lines->back().text.rfind("for ", 0) == 0) indent += 2;
      if (lines->back().text == "end") indent -= 2;
    }
  }
  return scripts;
}

void ScriptTest::run(const Script& script) {
  perform(script);
  closeKept();
}

void ScriptTest::perform(const Script& script) {
  run(script.lines.begin(), script.lines.end(), {{"dir", path("")}});
}

void ScriptTest::closeKept() {
  for (const auto& kept : kept_) {
    if (vlGetClassID(kept.second.array) == vlUINT64_CLASS) raised("close", kept.second);
  }
  kept_.clear();
}

std::vector<std::string> ScriptTest::linesOf(const Script& script) {
  std::vector<std::string> lines;
  lines_ = &lines;
  perform(script);
  lines_ = nullptr;
  return lines;
}

void ScriptTest::run(Place first, Place last, Names names) {
  for (Place line = first; line != last; ++line) {
    const std::string text = replaced(line->text, names);
    if (text.rfind("for ", 0) == 0) {
      int depth = 1;
      const Place end = std::find_if(line + 1, last, [&depth](const Line& next) {
        depth += static_cast<int>(next.text.rfind("for ", 0) == 0) -
                 static_cast<int>(next.text == "end");
        return depth == 0;
      });
      ASSERT_TRUE(end != last) << "line " << line->number << " has no end";
      loop(text.substr(4), line + 1, end, names);
      line = end;
    } else if (text.rfind("let ", 0) == 0) {
      const std::size_t equals = text.find(" = ");
      names[text.substr(4, equals - 4)] = text.substr(equals + 3);
    } else if (lines_ != nullptr) {
      lines_->push_back(text);
    } else {
      SCOPED_TRACE("line " + std::to_string(line->number) + ": " + text);
      try {
        state(text);
      } catch (const std::exception& error) {
        ADD_FAILURE() << error.what();
      }
    }
  }
}

void ScriptTest::loop(const std::string& header, Place first, Place last, const Names& names) {
  const std::vector<std::string> parts = split(header, " in ");
  const std::vector<std::string> variables = wordsOf(parts.at(0));
  for (const std::string& row :
       variables.size() == 1 ? wordsOf(parts.at(1)) : split(parts.at(1), " | ")) {
    const std::vector<std::string> values = wordsOf(row);
    Names inner = names;
    for (std::size_t i = 0; i < variables.size(); ++i) {
      const std::string& value = values.at(i);
      inner[variables[i]] = value[0] == '(' ? value.substr(1, value.size() - 2) : value;
    }
    run(first, last, inner);
  }
}

Input ScriptTest::input(const std::string& token) const {
  const auto kept = kept_.find(token);
  if (kept != kept_.end()) return kept->second.array;
  if (token.front() == '"') return textFrom(token);
  if (token.find('[') != std::string::npos) return listFrom(token);
  const vlClassID id = classNamed(token);
  return id == vlUNKNOWN_CLASS ? Input(std::stod(token)) : Input(oneOf(id));
}

Inputs ScriptTest::inputsOf(const std::vector<std::string>& words) const {
  Inputs inputs;
  std::transform(words.begin(), words.end(), std::back_inserter(inputs),
                 [this](const std::string& word) { return input(word); });
  return inputs;
}

Inputs ScriptTest::inputsFrom(const std::string& text) const {
  return inputsOf(wordsOf(text));
}

void ScriptTest::state(const std::string& line) {
  const std::string text = line + " ";  // behind an arrow at the end
  const std::size_t mark = std::min({text.find(" -> "), text.find(" ! "), line.size()});
  std::vector<std::string> words = wordsOf(text.substr(0, mark));
  const std::string expected = line.substr(std::min(mark + 4, line.size()));
  std::string name;
  if (words.size() > 2 && words[1] == "=") {
    name = words[0];
    words.erase(words.begin(), words.begin() + 2);
  }
  const Inputs inputs = inputsOf({words.begin() + 1, words.end()});
  if (text[mark + 1] == '!') return expectRaised(words[0], inputs, line.substr(mark + 3));
  std::vector<Array> outputs = callWith(words[0], inputs);
  if (text[mark + 1] == '-') expectOutputs(outputs, expected);
  if (!name.empty()) keep(name, std::move(outputs.at(0)));
}

void ScriptTest::expectOutputs(const std::vector<Array>& outputs, const std::string& text) {
  const std::vector<std::string> parts =
      text.empty() ? std::vector<std::string>() : split(text, "; ");
  ASSERT_EQ(outputs.size(), parts.size());
  for (std::size_t i = 0; i < parts.size(); ++i) {
    const auto kept = kept_.find(parts[i]);
    const std::string seen = shown(outputs[i]);
    EXPECT_EQ(seen,
              kept == kept_.end() ? expectedOutput(parts[i], seen) : shown(kept->second.array));
  }
}

void ScriptTest::expectRaised(const std::string& operation, const Inputs& inputs,
                              const std::string& text) {
  const Raised seen = raisedWith(operation, inputs);
  const std::size_t colon = text.find(": ");
  if (colon != std::string::npos) {
    const std::string owner = text[0] == ':' ? operation : "";
    EXPECT_EQ(seen, vorlan(owner + text.substr(0, colon), text.substr(colon + 2)));
    return;
  }
  const std::vector<std::string> words = wordsOf(text);
  const std::string tag = words.size() == 1 ? "failure" : words[0];
  EXPECT_EQ(seen.identifier, "VORLAN:tarvik:" + operation + ":" + tag);
  const std::string start = "CDF library failure, \"" + words.back() + ":";
  EXPECT_EQ(seen.message.substr(0, start.size()), start);
}
