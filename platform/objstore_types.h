// Types and constants of the handheld's object store (record databases,
// records of properties, object identifiers) and of its file system.
#ifndef VORN_PLATFORM_OBJSTORE_TYPES_H_
#define VORN_PLATFORM_OBJSTORE_TYPES_H_

#include "platform/types.h"

using CEOID = DWORD;
using PCEOID = CEOID*;
using CEPROPID = DWORD;

struct CEGUID {
  DWORD Data1;
  DWORD Data2;
  DWORD Data3;
  DWORD Data4;
};
using PCEGUID = CEGUID*;

struct CEBLOB {
  DWORD dwCount;
  LPBYTE lpb;
};

union CEVALUNION {
  short iVal;
  WORD uiVal;
  LONG lVal;
  ULONG ulVal;
  FILETIME filetime;
  LPWSTR lpwstr;
  CEBLOB blob;
  BOOL boolVal;
  double dblVal;
};

struct CEPROPVAL {
  CEPROPID propid;
  WORD wLenData;
  WORD wFlags;
  CEVALUNION val;
};

// Value types: the low word of a property id.
inline constexpr WORD CEVT_I2 = 2;
inline constexpr WORD CEVT_I4 = 3;
inline constexpr WORD CEVT_R8 = 5;
inline constexpr WORD CEVT_BOOL = 11;
inline constexpr WORD CEVT_UI2 = 18;
inline constexpr WORD CEVT_UI4 = 19;
inline constexpr WORD CEVT_LPWSTR = 31;
inline constexpr WORD CEVT_FILETIME = 64;
inline constexpr WORD CEVT_BLOB = 65;
constexpr WORD TypeFromPropID(CEPROPID id) { return static_cast<WORD>(id); }
constexpr WORD IdFromPropID(CEPROPID id) { return static_cast<WORD>(id >> 16); }

// CEPROPVAL::wFlags
inline constexpr WORD CEDB_PROPNOTFOUND = 0x0100;
inline constexpr WORD CEDB_PROPDELETE = 0x0200;

// CeReadRecordProps flags.
inline constexpr DWORD CEDB_ALLOWREALLOC = 0x00000001;
// CeOpenDatabase flags.
inline constexpr DWORD CEDB_AUTOINCREMENT = 0x00000001;

// Seek types for CeSeekDatabase.
inline constexpr DWORD CEDB_SEEK_CEOID = 0x00000001;
inline constexpr DWORD CEDB_SEEK_BEGINNING = 0x00000002;
inline constexpr DWORD CEDB_SEEK_END = 0x00000004;
inline constexpr DWORD CEDB_SEEK_CURRENT = 0x00000008;
inline constexpr DWORD CEDB_SEEK_VALUESMALLER = 0x00000010;
inline constexpr DWORD CEDB_SEEK_VALUEFIRSTEQUAL = 0x00000020;
inline constexpr DWORD CEDB_SEEK_VALUEGREATER = 0x00000040;
inline constexpr DWORD CEDB_SEEK_VALUENEXTEQUAL = 0x00000080;

// Sort order flags.
inline constexpr DWORD CEDB_SORT_DESCENDING = 0x00000001;
inline constexpr DWORD CEDB_SORT_CASEINSENSITIVE = 0x00000002;
inline constexpr DWORD CEDB_SORT_UNKNOWNFIRST = 0x00000004;
inline constexpr DWORD CEDB_SORT_GENERICORDER = 0x00000008;

inline constexpr int CEDB_MAXSORTORDER = 4;
inline constexpr int CEDB_MAXDBASENAMELEN = 32;
inline constexpr int MAX_PATH = 260;

struct SORTORDERSPEC {
  CEPROPID propid;
  DWORD dwFlags;
};

// CEDBASEINFO::dwFlags
inline constexpr DWORD CEDB_VALIDNAME = 0x0001;
inline constexpr DWORD CEDB_VALIDTYPE = 0x0002;
inline constexpr DWORD CEDB_VALIDSORTSPEC = 0x0004;
inline constexpr DWORD CEDB_VALIDMODTIME = 0x0008;

struct CEDBASEINFO {
  DWORD dwFlags;
  WCHAR szDbaseName[CEDB_MAXDBASENAMELEN];
  DWORD dwDbaseType;
  WORD wNumRecords;
  WORD wNumSortOrder;
  DWORD dwSize;
  FILETIME ftLastModified;
  SORTORDERSPEC rgSortSpecs[CEDB_MAXSORTORDER];
};

struct CEFILEINFO {
  DWORD dwAttributes;
  CEOID oidParent;
  WCHAR szFileName[MAX_PATH];
  FILETIME ftLastChanged;
  DWORD dwLength;
};

struct CEDIRINFO {
  DWORD dwAttributes;
  CEOID oidParent;
  WCHAR szDirName[MAX_PATH];
};

struct CERECORDINFO {
  CEOID oidParent;
};

inline constexpr WORD OBJTYPE_INVALID = 0;
inline constexpr WORD OBJTYPE_FILE = 1;
inline constexpr WORD OBJTYPE_DIRECTORY = 2;
inline constexpr WORD OBJTYPE_DATABASE = 3;
inline constexpr WORD OBJTYPE_RECORD = 4;

struct CEOIDINFO {
  WORD wObjType;
  WORD wPad;
  union {
    CEFILEINFO infFile;
    CEDIRINFO infDirectory;
    CEDBASEINFO infDatabase;
    CERECORDINFO infRecord;
  };
};

// Files.
inline constexpr DWORD GENERIC_READ = 0x80000000U;
inline constexpr DWORD GENERIC_WRITE = 0x40000000U;
inline constexpr DWORD FILE_SHARE_READ = 0x00000001;
inline constexpr DWORD FILE_SHARE_WRITE = 0x00000002;
inline constexpr DWORD CREATE_NEW = 1;
inline constexpr DWORD CREATE_ALWAYS = 2;
inline constexpr DWORD OPEN_EXISTING = 3;
inline constexpr DWORD OPEN_ALWAYS = 4;
inline constexpr DWORD TRUNCATE_EXISTING = 5;
inline constexpr DWORD FILE_ATTRIBUTE_READONLY = 0x00000001;
inline constexpr DWORD FILE_ATTRIBUTE_HIDDEN = 0x00000002;
inline constexpr DWORD FILE_ATTRIBUTE_SYSTEM = 0x00000004;
inline constexpr DWORD FILE_ATTRIBUTE_DIRECTORY = 0x00000010;
inline constexpr DWORD FILE_ATTRIBUTE_ARCHIVE = 0x00000020;
inline constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x00000080;
inline constexpr DWORD FILE_ATTRIBUTE_TEMPORARY = 0x00000100;
inline constexpr DWORD INVALID_FILE_ATTRIBUTES = 0xFFFFFFFFU;
inline constexpr DWORD FILE_BEGIN = 0;
inline constexpr DWORD FILE_CURRENT = 1;
inline constexpr DWORD FILE_END = 2;
inline constexpr DWORD INVALID_SET_FILE_POINTER = 0xFFFFFFFFU;

struct WIN32_FIND_DATAW {
  DWORD dwFileAttributes;
  FILETIME ftCreationTime;
  FILETIME ftLastAccessTime;
  FILETIME ftLastWriteTime;
  DWORD nFileSizeHigh;
  DWORD nFileSizeLow;
  DWORD dwOID;
  WCHAR cFileName[MAX_PATH];
};

#endif  // VORN_PLATFORM_OBJSTORE_TYPES_H_
