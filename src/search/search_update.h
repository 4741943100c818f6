// How a search snapshot is made.
#pragma once

#include <memory>
#include <string>
#include <unordered_set>

#include "search/search_snapshot.h"
#include "sync/sync_info_dictionary.h"

namespace quillfold {

std::shared_ptr<const SearchSnapshot> builtSnapshot(const SyncInfoDictionary& dictionary,
                                                    std::size_t rowsPerChunk);

// The snapshot with the rows of the keys removed, and added anew as the
// dictionary has them now. Null if it can't be told which rows these are.
std::shared_ptr<const SearchSnapshot> updatedSnapshot(const SearchSnapshot& snapshot,
                                                      const SyncInfoDictionary& dictionary,
                                                      const std::unordered_set<std::string>& keys,
                                                      std::size_t rowsPerChunk);

}  // namespace quillfold
