#include "apps/quillfold/manual_texts.h"

namespace host {

const support::Manual& manualTexts() {
  static const support::Manual texts{
      .description = {{"",
                       "Syncs the contacts of an address book with a backend: those that have "
                       "changed since their last upload. Searches them, and shows what the backend "
                       "makes of them: people, follows and events."},
                      {"",
                       "An option of a command may stand in front of it, too; of one that is "
                       "repeated the last counts. An option stands above the environment, and that "
                       "above the configuration file."},
                      {"",
                       "Standard output has the answer, standard error what is wrong, how far a "
                       "sync is, and cards of the address book that can't be read."}},
      .exitStatus =
          {{"0", "Done; also where a reader has had enough of the output."},
           {"1", "Failed; standard error tells what, with domain and code."},
           {"2", "Wrong usage; a short error names the option."},
           {"130, 143, ...",
            "Ended by a signal, 128 and its number. A sync tells what it has done, and the "
            "next one sends the rest. A second signal ends it at once."}},
      .environment = {{"QUILLFOLD_CONFIG", "The same as --config."},
                      {"XDG_CONFIG_HOME, XDG_DATA_HOME",
                       "Where settings and bookkeeping are kept without --home; ~/.config and "
                       "~/.local/share without these."},
                      {"NO_COLOR", "Where it is set and not empty, there are no colours."}},
      .files = {{"$XDG_CONFIG_HOME/quillfold/quillfold.toml",
                 "The configuration without --config; it need not be there. A line is an option's "
                 "name without the dashes, =, and its value, in quotes or not; or a comment "
                 "behind #."},
                {"$XDG_CONFIG_HOME/quillfold/defaults.plist", "Settings, and what was decided."},
                {"$XDG_DATA_HOME/quillfold/AppFrameworks/Quillfold/",
                 "What was uploaded, and when; further users of a home have one each."},
                {"$XDG_DATA_HOME/contacts", "The address book without --book."}},
      .examples = {{"quillfold --book friends.vcf plan", "What a sync would upload, card by card."},
                   {"quillfold --connect localhost:8080 sync", "Sync with quillfold-backend."},
                   {"quillfold --json search ann | jq .total",
                    "How many contacts that were synced have the word."},
                   {"source <(quillfold completion bash)", "Complete options and commands."}},
      .seeAlso = "quillfold-backend(1)",
  };
  return texts;
}

}  // namespace host
