// The properties of an MP3 file as texts: the tags (ID3v2.2, 2.3 and 2.4, with ID3v1 and
// v1.1 filling what ID3v2 lacks) and, from the MPEG frame headers, the length and the bit
// rate. The reader takes the place of the shell's detail columns, so its texts follow what
// German Windows shows there:
//
//   length     "00:03:45"        hours, minutes, seconds; the seconds are cut, not rounded
//   bit rate   "128 kBit/s"      for a variable bit rate the average over the whole stream
//   rating     "4 Sterne"        the stars of the POPM frame: "1 Stern" .. "5 Sterne"
//   genre      "Pop"             numbered genres by their names; several joined by "; "
//   track      "3"               the number only ("3/12" gives "3")
//   year       "2019"            the year only, also from a full recording date
//
//   AudioFieldValue(L"D:\\Musik\\Lied.mp3", kAudioArtist) -> L"Die Band"
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "fileops/byte_source.h"

namespace ablagix {

// The numbered audio fields. Field 8, offered to the user as "Hertz", reads the rating and
// field 9, offered as "Frames", the copyright; field 10 ("Track") is always empty, and the
// track number is field 11. That is how profiles have always resolved these names, so it is
// kept rather than corrected.
enum AudioField : int {
  kAudioTitle = 0,
  kAudioArtist = 1,
  kAudioAlbum = 2,
  kAudioYear = 3,
  kAudioComment = 4,
  kAudioGenre = 5,
  kAudioDuration = 6,
  kAudioBitRate = 7,
  kAudioRating = 8,
  kAudioCopyright = 9,
  kAudioTrack = 10,
  kAudioTrackNumber = 11,
  kAudioComposer = 12,
  kAudioEncodedBy = 13,
  kAudioPublisher = 14,
  kAudioFieldCount = 15,
};

struct AudioProperties {
  // Tag texts as stored (trimmed); year, genre and track are already in their display form.
  std::wstring title;
  std::wstring artist;
  std::wstring album;
  std::wstring year;
  std::wstring comment;
  std::wstring genre;
  std::wstring copyright;
  std::wstring trackNumber;
  std::wstring composer;
  std::wstring encodedBy;
  std::wstring publisher;
  int popularimeter = 0;  // the POPM rating byte, 0 when there is none

  // The stream, from the first MPEG frame that a second one confirms; all 0 when none.
  std::uint64_t durationMs = 0;
  unsigned bitRate = 0;  // kbit/s
  unsigned sampleRate = 0;  // Hz
  bool variableBitRate = false;
};

// Reads the tags and, when `withStream`, looks for the first MPEG frame and its Xing, Info
// or VBRI header. Reads only the tags' frames of interest, the last 128 bytes and a few
// kilobytes after the tag; any bytes give a result (empty where nothing could be read).
AudioProperties ReadAudioProperties(ByteSource& source, bool withStream = true);

// The text of a field; "" for field 10, numbers outside 0..14, and values the file lacks.
std::wstring AudioFieldText(const AudioProperties& properties, int field);

// Whether the name ends in ".mp3", in any case: only such files are read as MP3.
bool HasMp3Name(std::wstring_view path);

// Only for names ending in ".mp3" in any case; any other file gives "" without being opened.
std::wstring AudioFieldValue(const std::wstring& path, int field);

// The display forms, usable on their own.
std::wstring DurationText(std::uint64_t milliseconds);
std::wstring BitRateText(unsigned kbitPerSecond);  // "" for 0
std::wstring RatingText(int popularimeter);        // "" for 0
// The name of a numbered genre (ID3v1 and its Winamp extensions, 0..191); "" otherwise.
std::wstring GenreName(int number);

}  // namespace ablagix
