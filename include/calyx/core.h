// Core utilities: the library log, string helpers, escaping, paths and XML helpers.
//
// Thread safety: every function here may be called from any thread, except that
// DMSLOGInit and DMSLogClose belong to start-up and shut-down (no other thread may log
// meanwhile) and DMSNow's buffer is shared (see there). No function throws.
//
// Argument checks ("%s:%d Bad parameter") and a few platform failures are reported to
// the system log with priority LOG_ERR under the file name "dmsutils"; everything else
// is reported through DMSPrintf.
#ifndef CALYX_CORE_H
#define CALYX_CORE_H

#include <string>
#include <vector>

#include "calyx/export.h"
#include "calyx/types.h"

// The ixml DOM types, declared exactly as <ixml.h> declares them, so that this header
// does not need the ixml include directory.
struct _IXML_Node;
typedef struct _IXML_Node IXML_Node;
struct _IXML_Document;
typedef struct _IXML_Document IXML_Document;

// The JSON document type of jsoncpp, for the JSON file readers below; callers that read a
// document include <json/value.h> themselves.
namespace Json {
class Value;
}  // namespace Json

namespace Calyx {

// ---------------------------------------------------------------------------------
// Logging: one process-wide log file, rotated past 5 MiB into "<path>.N", which is then
// compressed with /bin/gzip into "<path>.N.gz".
// ---------------------------------------------------------------------------------

/// Current threshold: a message is written only when its level is at most this value.
/// Starts at DMSLOG_ERR. Change it with DMSLOGSetLevel.
extern CALYX_EXPORT DMSLOG_LEVEL gDMSLogLevel;

/// Sets up the log lock and opens `path` for appending (created if missing). The path
/// is kept (cut to 4096 bytes) for rotation. Returns 1 when the file is open, 0
/// otherwise (logging then does nothing). Call once at start-up; it does not close a
/// stream that is already open.
CALYX_EXPORT int DMSLOGInit(const char* path);

/// Closes the log stream if one is open; later DMSPrintf calls write nothing.
CALYX_EXPORT void DMSLogClose();

/// Sets the threshold under the log lock. Call only after DMSLOGInit.
CALYX_EXPORT void DMSLOGSetLevel(DMSLOG_LEVEL level);

/// Returns the threshold (read without the lock).
CALYX_EXPORT DMSLOG_LEVEL DMSLOGGetLevel();

/// Formats the current local time as "%b%e %T" (e.g. "Nov 5 09:04:07", "Nov15 09:04:07")
/// into a static 128-byte buffer and returns it; empty when the local time cannot be
/// computed. Not to be freed; the next call overwrites it, so calls from outside the log
/// race with logging threads.
CALYX_EXPORT char* DMSNow();

/// Writes "<timestamp> <formatted text>" to the log when `level` is at most the
/// threshold, flushes it and rotates the file when it grew past 5,242,880 bytes. The
/// caller ends its format with "\n". Call only after DMSLOGInit. Arguments are not
/// formatted when the level filters the message out.
CALYX_EXPORT void DMSPrintf(DMSLOG_LEVEL level, const char* format, ...)
    __attribute__((format(printf, 2, 3)));

// ---------------------------------------------------------------------------------
// String utilities. Strings are byte strings; nothing here is locale- or UTF-8-aware.
// ---------------------------------------------------------------------------------

/// True when `s` is a run of decimal digits, optionally led by "+" (or by "-" when
/// `allowMinus`). A lone sign counts as numeric; "" does not. No length or range limit.
CALYX_EXPORT bool StringIsNumeric(const std::string& s, bool allowMinus);

/// Every non-overlapping occurrence of `from` in `src`, left to right, replaced by `to`;
/// text produced by `to` is not searched again. An empty `from` returns `src` unchanged.
CALYX_EXPORT std::string StringReplace(std::string src, std::string from, std::string to);

/// The parts joined with `sep` between neighbours; empty parts are kept. A null `sep`
/// joins with nothing.
CALYX_EXPORT std::string StringImplode(const std::vector<std::string>& parts, const char* sep);

/// Splits `s` at every byte that occurs in `delims` (a set of delimiter characters,
/// not a substring). Empty pieces are dropped; a NUL byte in `s` ends the text.
CALYX_EXPORT std::vector<std::string> StringExplode(const std::string& s,
                                                    const std::string& delims);

/// `s` with every byte passed through tolower (only ASCII letters change).
CALYX_EXPORT std::string StringToLower(const std::string& s);

/// Sets `out` to the blank-separated words of `in` joined by "_" ("  My   Music " gives
/// "My_Music"); tabs and other white space stay. An empty `in` is reported as a bad
/// parameter and leaves `out` unchanged.
CALYX_EXPORT void AddUnderscore(const std::string& in, std::string& out);

// ---------------------------------------------------------------------------------
// Escaping and encoding. Each returns a new string and never fails visibly.
// ---------------------------------------------------------------------------------

/// Percent-encodes every byte except ASCII letters, digits, "-", "." and "_"
/// ("a b/c" gives "a%20b%2Fc"); hexadecimal digits are upper case.
CALYX_EXPORT std::string URLEncode(const std::string& s);

/// As URLEncode, but "/" is kept, so a whole path can be encoded at once.
CALYX_EXPORT std::string URLEncodeNoSlash(const std::string& s);

/// Escapes the five XML special characters as entities. When `dashChars` is not null,
/// every byte found in it (including NUL, which strchr finds as the terminator) is
/// replaced by "-" first, even one that would otherwise be escaped.
CALYX_EXPORT std::string XMLEscape(const std::string& s, const char* dashChars);

/// `s` escaped for use inside a single-quoted PostgreSQL literal ('...'); empty when the
/// escaping fails. The text ends at a NUL byte.
CALYX_EXPORT std::string SQLEscapeString(const std::string& s);

/// SQLEscapeString(s) with its backslashes then doubled, for values placed inside an
/// E'...' literal or a pattern condition. Empty when the escaping fails.
CALYX_EXPORT std::string SQLEscapeCondition(const std::string& s);

// ---------------------------------------------------------------------------------
// Paths and files. Paths are "/"-separated byte strings.
// ---------------------------------------------------------------------------------

/// POSIX basename of `path` ("/a/b/" gives "b", "/" gives "/", "" gives ".").
CALYX_EXPORT std::string FileGetPathBaseName(const std::string& path);

/// POSIX dirname of `path` ("/a/b/" gives "/a", "b" gives ".", "" gives ".").
CALYX_EXPORT std::string FileGetPathDirName(const std::string& path);

/// The last component without its extension ("/v/song.live.mp3" gives "song.live").
/// A path without any "/" or ending in "/" gives "" on purpose: callers pass full paths.
CALYX_EXPORT std::string FileGetPathBaseNameNoExt(const std::string& path);

/// The text after the last "." of the whole path, case kept ("a/b.MP3" gives "MP3",
/// "/a.b/c" gives "b/c"); "" when there is no "." or it is the last byte.
CALYX_EXPORT std::string FileGetFileExt(const std::string& path);

/// Copies `from` to `to` by running /bin/cp -f directly (no shell, so any byte but NUL
/// is safe in a path). Returns 0 on success, otherwise the child's wait status, or -1
/// when either path is empty (reported as a bad parameter) or the copy could not start.
CALYX_EXPORT int FileCopy(const std::string& from, const std::string& to);

/// Turns a path that begins with a share name ("/music/a/b.mp3" or "music/a/b.mp3")
/// into the share's absolute directory followed by the rest ("/a/b.mp3"), unchanged.
/// "" when the share is unknown, the path names no share, or the path is longer than
/// ZEVO_MAXPATH (logged).
CALYX_EXPORT std::string GetAbsolutePath(const std::string& sharePath);

// ---------------------------------------------------------------------------------
// XML helpers over the ixml DOM.
//
// The tree stays the caller's: node results are borrowed pointers into it (valid as long
// as the tree), strings and vectors are new. Every node list or attribute map a helper
// obtains from ixml is freed before it returns. Names are compared byte for byte,
// namespace prefix included ("dlna:X_DLNADOC" and "X_DLNADOC" differ). The helpers keep
// no state: several threads may use them at once as long as no thread changes a tree
// that another one walks.
// ---------------------------------------------------------------------------------

/// The first direct child element of `parent` named `name` (note: name first). Null when
/// `parent` is null or has no children. When no child matches, the LAST child is
/// returned, whatever it is (another element, a text node): a caller that cannot be sure
/// the child exists compares the result's name with `name`.
CALYX_EXPORT IXML_Node* XMLFindChildElement(const std::string& name, IXML_Node* parent);

/// Every direct child element of `parent` named `name`, in document order (deeper
/// descendants are not searched). Empty for a null parent.
CALYX_EXPORT std::vector<IXML_Node*> XMLEnumElements(IXML_Node* parent, const std::string& name);

/// XMLGetElmentTextValue of every direct child element of `parent` named `name`, in
/// document order: one entry per matching child, "" for a child without text.
CALYX_EXPORT std::vector<std::string> XMLEnumTagValues(IXML_Node* parent, const std::string& name);

/// The value of the attribute `name` of `element`; "" when the attribute is missing or
/// `element` is null or not an element.
CALYX_EXPORT std::string XMLGetAttributeValue(IXML_Node* element, const std::string& name);

/// The value of the first child node of `element`, whatever its kind: "x" for
/// "<a>x</a>", but "" for "<a><b/>x</a>" (an element has no value). Only the first piece
/// of a text split over several nodes: "x" for "<a>x<![CDATA[y]]>z</a>" or
/// "<a>x<!--c-->z</a>". "" when there is no first child or `element` is null.
CALYX_EXPORT std::string XMLGetElmentTextValue(IXML_Node* element);

/// The text of the first element named `tagName` anywhere in `doc` (document order, all
/// depths; ixml's "*" matches every element). "" when there is none or it has no text.
/// When `found` is not null it is set to true only when such an element with a text was
/// found, so an empty or missing text ("<b/>") leaves it false. A null `doc` or
/// `tagName` yields "" and false.
CALYX_EXPORT std::string XMLGetFirstDocumentItem(IXML_Document* doc, const char* tagName,
                                                 bool* found);

// =================================================================================
// Beyond the published interface: the root prefix, guarded file checks, the JSON file
// reader of the loaders and the error type of the extensions. Stable helpers for hosts,
// tools and tests, implemented by the code the published functions use.
// =================================================================================

/// Why an extension failed: a message for people, the system error behind it (errno; 0
/// when none) and, for a syntax error in a file or text, where it is (1-based line and
/// column in bytes; both 0 when they do not apply).
struct Error {
    std::string message;
    int errorNumber = 0;
    int line = 0;
    int column = 0;
};

/// Resolves one of the library's fixed absolute paths (package, platform and kernel
/// files such as "/proc/net/arp") under the root prefix: when the environment variable
/// CALYX_ROOT is set and not empty, the result is its value followed by `fixedPath`;
/// otherwise `fixedPath` as it stands. The variable is read on every call.
CALYX_EXPORT std::string ResolveFixedPath(const std::string& fixedPath);

/// Creates the folder `path` and every missing folder above it (mode 0755, less the
/// umask), as "mkdir -p" does; folders that exist already are fine. False when one cannot
/// be made or a part of the path is not a folder: `error` (when not null) then names that
/// part and the system error. The one directory maker of the library's programs.
CALYX_EXPORT bool MakeDirectories(const std::string& path, Error* error);

/// Why the file at `path` cannot be read as a file, checked through the same guarded open
/// the library's own readers use (which never waits on a FIFO): "" when it opens as a
/// regular file; otherwise a short reason that names the kind, e.g. "is a FIFO", "is a
/// directory", "is a character device", "is a socket", or "cannot open: <system error>".
CALYX_EXPORT std::string UnreadableFileReason(const std::string& path);

/// Parses untrusted JSON `text` the way the library's loaders do (comments allowed and
/// collected) into `root`. On failure returns false, leaves `root` unspecified and, when
/// `error` is not null, fills it with the first error: "JSON syntax error: <reason>" at
/// its line and column, or the reader's reason for giving up on a document nested too
/// deeply (no position).
CALYX_EXPORT bool ParseJsonText(const std::string& text, Json::Value& root, Error* error);

/// Looks for a key that occurs twice in one object of the JSON `text` (comments allowed),
/// which the library's reader accepts silently, keeping the later value. True when there
/// is one: `where` (when not null) receives "duplicate key: '<key>'" and the 1-based line
/// and column the reader gives for it. False when there is none before the first syntax
/// error, where the reading stops (ParseJsonText reports that error).
CALYX_EXPORT bool FindDuplicateJsonKey(const std::string& text, Error* where);

/// Why ReadJsonFile failed. `line` and `column` (1-based) locate a syntax error; both are
/// 0 when the file could not be opened or read. Filled from the reader's Error.
struct JsonFileError {
    std::string message;
    int line = 0;
    int column = 0;
};

/// Parses the file at `path` the way the library's loaders do (comments allowed and
/// collected) into `root`, opening it as they do: a FIFO or socket is refused without
/// waiting ("cannot open: it is a FIFO"), a device is read without waiting (at most
/// 16 MiB), a directory fails with "cannot read: it is a directory". On failure returns
/// false, leaves `root` unspecified and, when `error` is not null, fills it with the
/// first error.
CALYX_EXPORT bool ReadJsonFile(const std::string& path, Json::Value& root, JsonFileError* error);

}  // namespace Calyx

#endif  // CALYX_CORE_H
