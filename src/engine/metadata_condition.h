// The "Enthält Metadaten" condition of a profile: a path variable (such as "%Datum%") and a
// condition text whose first character is the operator ("=", "<" or ">") and whose rest is
// the operand ("%Datum%;>2018", "%Model%;=Canon*", "%Umkreissuche%;<25").
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "base/calendar.h"
#include "engine/conditions.h"
#include "metadata/path_variables.h"

namespace ablagix {

// Text fields match the operand as a pattern (* ? # and [a-c]); date fields ("%Datum%",
// "%Datum Original%", "%Datum Digitalisierung%", "%Länge%") compare as dates or times, a
// four-character operand as a year and "mm.yyyy" as a month; number fields (the distance,
// coordinates, counts, sizes) compare as numbers with a decimal comma. A value or operand
// that cannot be read so does not meet the condition. A condition without an operator means
// "=" with the whole text as operand.
bool CompareMetadataCondition(std::wstring_view value, std::wstring_view variable,
                              std::wstring_view condition, bool caseSensitive);

// The value the condition looks at for one file, as the log shows it in the row's "Metadaten"
// column: the camera model, the distance in km, the date as "dd.mm.yyyy". "" when `metadaten`
// names no "%...%" variable or there are no readers.
std::wstring MetadataConditionValue(std::wstring_view metadaten, const FileFacts& file,
                                    const PathVariableContext& context);

// The condition of a profile as a file test: the variable is resolved for each file through
// `metadata` (which must outlive the test). Null when `metadaten` names no "%...%" variable.
std::unique_ptr<FileContentTest> MakeMetadataConditionTest(std::wstring_view metadaten, bool caseSensitive,
                                                           MetadataSource* metadata, LocalDateTime today);

}  // namespace ablagix
