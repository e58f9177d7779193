// Dates and orientations as the index records them.
#ifndef CALYX_INDEXER_MEDIA_DATES_H
#define CALYX_INDEXER_MEDIA_DATES_H

#include <string>

namespace calyx_indexer {

// The year a date tag starts with ("2019", "2019-05-06", "2019-05-06T07:08:09Z"), or 0.
int YearOfTag(const std::string& tag);

// "YYYY-MM-DD hh:mm:ss" from a tag "YYYY-MM-DD" (midnight) or "YYYY-MM-DD[T ]hh:mm:ss..."
// (fractions and zones dropped); empty for any other form.
std::string IndexDateOfTag(const std::string& tag);

// "YYYY-MM-DD hh:mm:ss" from an EXIF date "YYYY:MM:DD hh:mm:ss"; empty for another form.
std::string IndexDateOfExif(const std::string& exif);

// Degrees clockwise for an EXIF Orientation value (3: 180, 6: 90, 8: 270; others 0).
int RotationOfExifOrientation(int orientation);

}  // namespace calyx_indexer

#endif  // CALYX_INDEXER_MEDIA_DATES_H
