// The names that stand in every keyed archive.
#pragma once

#include <cstdint>
#include <string_view>

namespace quillfold::keyed_archive {

inline constexpr std::int64_t kVersion = 100000;
inline constexpr std::string_view kVersionKey = "$version";
inline constexpr std::string_view kArchiverKey = "$archiver";
inline constexpr std::string_view kArchiver = "NSKeyedArchiver";
inline constexpr std::string_view kTopKey = "$top";
inline constexpr std::string_view kRootKey = "root";
inline constexpr std::string_view kObjectsKey = "$objects";
// The first object and its UID; a reference to it stands for an absent one.
inline constexpr std::string_view kNull = "$null";
inline constexpr std::uint32_t kNullUID = 0;

inline constexpr std::string_view kClassKey = "$class";
inline constexpr std::string_view kClassNameKey = "$classname";
inline constexpr std::string_view kClassesKey = "$classes";
inline constexpr std::string_view kDictionaryKeysKey = "NS.keys";
// The elements of an array, the values of a dictionary.
inline constexpr std::string_view kObjectsOfContainerKey = "NS.objects";
inline constexpr std::string_view kStringKey = "NS.string";
inline constexpr std::string_view kDataKey = "NS.data";
// Seconds since 2001.
inline constexpr std::string_view kDateKey = "NS.time";

inline constexpr std::string_view kObject = "NSObject";
inline constexpr std::string_view kArray = "NSArray";
inline constexpr std::string_view kData = "NSData";
inline constexpr std::string_view kDate = "NSDate";
inline constexpr std::string_view kDictionary = "NSDictionary";
inline constexpr std::string_view kMutableDictionary = "NSMutableDictionary";
inline constexpr std::string_view kNullObject = "NSNull";
inline constexpr std::string_view kNumber = "NSNumber";
inline constexpr std::string_view kString = "NSString";

}  // namespace quillfold::keyed_archive
