#include "apps/quillfold/completion.h"

#include <CLI/CLI.hpp>
#include <map>
#include <set>

namespace host {

namespace {

struct Word {
  std::string text;
  std::string help;
  // Of an option that takes a value.
  std::string type;
};

// What can be typed behind the words of a command, each with a blank in front: "" at first,
// " event create" behind both.
struct Place {
  std::string words;
  std::vector<Word> commands;
  std::vector<Word> options;
};

// What can be said where a value is told by its type or by the option's name.
struct Choice {
  const char* name;
  const char* values;
};
constexpr Choice kChoices[] = {
    {"--environment", "dev staging prod"},
    {"--field", "name phone email address organization other all"},
};

bool takesPath(const Word& option) {
  return option.type == "PATH" || option.type == "DIR" || option.type == "FILE";
}

// The help is an option of all commands.
std::vector<Word> optionsOf(const CLI::App& app) {
  std::vector<Word> out;
  for (const CLI::Option* option : app.get_options()) {
    const bool inherited = app.get_parent() != nullptr && option == app.get_help_ptr();
    if (option->get_positional() || option->get_group().empty() || inherited) continue;
    const bool flag = option->get_expected_max() == 0;
    out.push_back({"--" + option->get_lnames().front(), option->get_description(),
                   flag ? "" : option->get_type_name()});
  }
  return out;
}

void collect(const CLI::App& app, const std::string& words, std::vector<Place>& places) {
  Place place{words, {}, optionsOf(app)};
  for (const CLI::App* below : app.get_subcommands([](const CLI::App*) { return true; })) {
    place.commands.push_back({below->get_name(), below->get_description(), ""});
    collect(*below, words + ' ' + below->get_name(), places);
  }
  // The shells that a script can be for.
  if (words == " completion")
    place.commands = {{"bash", "", ""}, {"zsh", "", ""}, {"fish", "", ""}};
  places.push_back(std::move(place));
}

std::string quoted(const std::string& text) {
  std::string out = "'";
  for (const char c : text)
    out += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return out + '\'';
}

// The texts of those words that `chosen` takes, each once, one behind the other.
template <typename Chosen>
std::string joined(const std::vector<Word>& words, const char* between, Chosen chosen) {
  std::string out;
  std::set<std::string> known;
  for (const Word& word : words) {
    if (chosen(word) && known.insert(word.text).second) {
      out += (out.empty() ? "" : between) + word.text;
    }
  }
  return out;
}

std::string joined(const std::vector<Word>& words) {
  return joined(words, " ", [](const Word&) { return true; });
}

bool takesValue(const Word& word) {
  return !word.type.empty();
}

// The scripts; what stands between two "@" is filled in. bash and zsh look for the place in the
// same way: options are passed over with their values.
//
// bash splits at "=" by itself, unless COMP_WORDBREAKS says otherwise: then it is a part of what
// is completed. Quotes it leaves in the words, and puts around paths only where it is told.
constexpr const char* kBash = R"(_quillfold() {
  local word=${COMP_WORDS[COMP_CWORD]} place= option= each words= commands= options= said=
  for each in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    if [[ $option ]]; then [[ $each == = ]] || option=; continue; fi
    case $each in @valued@) option=$each ;; esac
    case "$place $each" in @known@) place+=" $each" ;; esac
  done
  case $word in
    =) word= ;;
    --*=*) option=${word%%=*} said=${word%%=*}= word=${word#*=} ;;
  esac
  case $option in
    '') ;;
    @paths@)
      word=${word#[\"\']} word=${word//\\/}
      compopt -o filenames 2>/dev/null
      mapfile -t COMPREPLY < <(compgen -P "$said" -f -- "$word")
      return ;;
@choices@    *) return ;;
  esac
  case $place in
@places@  esac
  if [[ -z $option ]]; then
    words=$commands
    if [[ $word == -* ]]; then words="$options @common@"; fi
  fi
  mapfile -t COMPREPLY < <(compgen -P "$said" -W "$words" -- "$word")
}
complete -F _quillfold quillfold
)";

constexpr const char* kZsh = R"(#compdef quillfold
_quillfold() {
  local place= option= each
  local -a commands options
  for each in ${words[2,CURRENT-1]}; do
    if [[ -n $option ]]; then option=; continue; fi
    case $each in @valued@) option=$each ;; esac
    case "$place $each" in @known@) place+=" $each" ;; esac
  done
  if [[ ${words[CURRENT]} == --*=* ]]; then option=${words[CURRENT]%%=*}; compset -P '*='; fi
  case $option in
    '') ;;
    @paths@) _files; return ;;
@choices@    *) return ;;
  esac
  case $place in
@places@  esac
  if [[ ${words[CURRENT]} == -* ]]; then commands=($options @common@); fi
  _describe quillfold commands
}
# Loaded by its name it is to answer at once; sourced it is only to be known.
if [[ $funcstack[1] == _quillfold ]]; then _quillfold "$@"; else compdef _quillfold quillfold; fi
)";

constexpr const char* kFish = R"(function __quillfold_at
  set -l place ''
  set -l option ''
  for each in (commandline -opc)[2..-1]
    if test -n "$option"; set option ''; continue; end
    if contains -- $each @valued@; set option $each; end
    if contains -- "$place $each" @known@; set place "$place $each"; end
  end
  test "$place" = "$argv[1]"
end
complete -c quillfold -f
@places@@common@)";

std::string filled(std::string script, const std::map<std::string, std::string>& parts) {
  for (const auto& [name, text] : parts) {
    const std::string mark = '@' + name + '@';
    for (auto at = script.find(mark); at != std::string::npos; at = script.find(mark, at))
      script.replace(at, mark.size(), text);
  }
  return script;
}

// All that the three scripts are made of.
class Scripts {
 public:
  explicit Scripts(const CLI::App& app) {
    collect(app, "", places_);
    common_ = std::exchange(places_.back().options, {});
    valued_ = common_;
    for (const Place& place : places_)
      valued_.insert(valued_.end(), place.options.begin(), place.options.end());
  }

  std::string bash() const {
    std::string places, choices;
    for (const Place& place : places_) {
      places += "    " + quoted(place.words) + ") commands='" + joined(place.commands) +
                "' options='" + joined(place.options) + "' ;;\n";
    }
    for (const Choice& choice : kChoices)
      choices += std::string("    ") + choice.name + ") words='" + choice.values + "' ;;\n";
    return filled(kBash, {{"valued", joined(valued_, "|", takesValue)},
                          {"known", known("|")},
                          {"paths", joined(common_, "|", takesPath)},
                          {"choices", choices},
                          {"places", places},
                          {"common", joined(common_)}});
  }

  std::string zsh() const {
    std::string places, choices;
    for (const Place& place : places_) {
      places += "    " + quoted(place.words) + ") commands=(" + described(place.commands) +
                ") options=(" + described(place.options) + ") ;;\n";
    }
    for (const Choice& choice : kChoices)
      choices += std::string("    ") + choice.name + ") compadd " + choice.values + "; return ;;\n";
    return filled(kZsh, {{"valued", joined(valued_, "|", takesValue)},
                         {"known", known("|")},
                         {"paths", joined(common_, "|", takesPath)},
                         {"choices", choices},
                         {"places", places},
                         {"common", described(common_)}});
  }

  std::string fish() const {
    std::string places, common;
    for (const Place& place : places_) {
      const std::string at = "complete -c quillfold -n \"__quillfold_at '" + place.words + "'\"";
      for (const Word& command : place.commands)
        places += at + " -a " + command.text + " -d " + quoted(command.help) + '\n';
      for (const Word& option : place.options)
        places += at + fishOption(option);
    }
    for (const Word& option : common_)
      common += "complete -c quillfold" + fishOption(option);
    return filled(kFish, {{"valued", joined(valued_, " ", takesValue)},
                          {"known", known(" ")},
                          {"places", places},
                          {"common", common}});
  }

 private:
  std::string known(const char* between) const {
    std::string out;
    for (const Place& place : places_) {
      if (!place.words.empty()) out += (out.empty() ? "" : between) + quoted(place.words);
    }
    return out;
  }

  static std::string described(const std::vector<Word>& words) {
    std::string out;
    for (const Word& word : words) {
      std::string help;
      for (const char c : word.help)
        help += c == ':' ? std::string("\\:") : std::string(1, c);
      out += (out.empty() ? "" : " ") + quoted(word.text + ':' + help);
    }
    return out;
  }

  static std::string fishOption(const Word& option) {
    std::string out = " -l " + option.text.substr(2) + " -d " + quoted(option.help);
    if (!takesValue(option)) return out + '\n';
    for (const Choice& choice : kChoices) {
      if (option.text == choice.name) return out + " -x -a '" + choice.values + "'\n";
    }
    return out + (takesPath(option) ? " -r -F\n" : " -x\n");
  }

  std::vector<Place> places_;
  std::vector<Word> common_;
  // Of all options those that take a value; some are here several times.
  std::vector<Word> valued_;
};

}  // namespace

std::string completionScript(const CLI::App& app, const std::string& shell) {
  const Scripts scripts(app);
  return shell == "bash" ? scripts.bash() : shell == "zsh" ? scripts.zsh() : scripts.fish();
}

}  // namespace host
