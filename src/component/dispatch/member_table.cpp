// The by-name table of FtpLibrary, written once, in the class's declaration order. Each row
// names the member; property rows give their initial value, method rows their parameter names
// and the defaults of optional parameters. Types come from the C++ declarations themselves.
// tests/unit/dispatch compares this table with include/quorvi/ftp_library.h, and
// tools/gen_reference.py reads both to write docs/reference.md: keep one row per line.
#include "component/dispatch/member_table.h"

#include <optional>
#include <type_traits>
#include <utility>

#include "component/dispatch/object_members.h"

namespace quorvi::detail {

namespace {

// Entry results come as optionals (nothing when there is no entry); the host sees an entry
// reference or Empty.
template <typename T>
struct Unwrap {
  using type = T;
  static constexpr bool optional = false;
};
template <typename T>
struct Unwrap<std::optional<T>> {
  using type = T;
  static constexpr bool optional = true;
};

// The Variant kind of a C++ parameter or result type.
template <typename T>
constexpr VariantType TypeOf() {
  using U = typename Unwrap<std::remove_cvref_t<T>>::type;
  if constexpr (std::is_void_v<U>) return VariantType::Empty;
  else if constexpr (std::is_same_v<U, bool>) return VariantType::Bool;
  else if constexpr (std::is_same_v<U, std::int16_t>) return VariantType::Int16;
  else if constexpr (std::is_same_v<U, std::int32_t> || std::is_enum_v<U>) return VariantType::Int32;
  else if constexpr (std::is_same_v<U, double>) return VariantType::Double;
  else if constexpr (std::is_same_v<U, std::string>) return VariantType::String;
  else if constexpr (std::is_same_v<U, CFtpFile>) return VariantType::File;
  else if constexpr (std::is_same_v<U, CFtpFiles>) return VariantType::Files;
  else static_assert(sizeof(U) == 0, "a member type the by-name interface does not know");
}

template <typename T>
Variant ToVariant(T&& value) {
  using U = std::remove_cvref_t<T>;
  if constexpr (std::is_enum_v<U>) {
    return Variant(static_cast<std::int32_t>(value));
  } else if constexpr (Unwrap<U>::optional) {
    return value ? Variant(std::move(*value)) : Variant();
  } else {
    return Variant(std::forward<T>(value));
  }
}

// The argument value of a Variant already converted to TypeOf<A>().
template <typename A>
auto FromVariant(const Variant& v) {
  using U = std::remove_cvref_t<A>;
  if constexpr (std::is_same_v<U, bool>) return v.AsBool();
  else if constexpr (std::is_same_v<U, std::int16_t>) return v.AsInt16();
  else if constexpr (std::is_same_v<U, std::int32_t>) return v.AsInt32();
  else if constexpr (std::is_enum_v<U>) return static_cast<U>(v.AsInt32());
  else if constexpr (std::is_same_v<U, double>) return v.AsDouble();
  else return v.AsString();
}

/// A parameter as the table writes it: name, and a default for an optional one.
struct Param {
  std::string_view name;
  std::optional<Variant> default_value = std::nullopt;
};

template <typename A>
ParamInfo Describe(const Param& p) {
  constexpr VariantType type = TypeOf<A>();
  std::optional<Variant> default_value;
  if (p.default_value) default_value = p.default_value->ConvertTo(type);
  return {p.name, type, std::move(default_value)};
}

template <typename R, typename... A, typename Fn>
MemberRow MethodRow(std::string_view name, Fn fn, const Param* params) {
  MemberRow row;
  row.info.name = name;
  row.info.kind = MemberKind::Method;
  row.info.type = TypeOf<R>();
  std::size_t i = 0;
  (row.info.params.push_back(Describe<A>(params[i++])), ...);
  row.call = [fn](FtpLibrary& f, const std::vector<Variant>& args) {
    return [&]<std::size_t... I>(std::index_sequence<I...>) {
      if constexpr (std::is_void_v<R>) {
        (f.*fn)(FromVariant<A>(args[I])...);
        return Variant();
      } else {
        return ToVariant((f.*fn)(FromVariant<A>(args[I])...));
      }
    }(std::index_sequence_for<A...>{});
  };
  return row;
}

// Method(name, &FtpLibrary::X, {params}): the parameter list must match the declaration.
template <typename R, typename... A, std::size_t N>
MemberRow Method(std::string_view name, R (FtpLibrary::*fn)(A...), const Param (&params)[N]) {
  static_assert(N == sizeof...(A), "one table parameter per declared parameter");
  return MethodRow<R, A...>(name, fn, params);
}
template <typename R>
MemberRow Method(std::string_view name, R (FtpLibrary::*fn)()) {
  return MethodRow<R>(name, fn, nullptr);
}

MemberRow PropertyRow(std::string_view name, VariantType type, bool readable, bool writable,
                      std::optional<Variant> initial) {
  MemberRow row;
  row.info.name = name;
  row.info.kind = MemberKind::Property;
  row.info.type = type;
  row.info.readable = readable;
  row.info.writable = writable;
  if (initial) row.info.initial = initial->ConvertTo(type);
  return row;
}

template <typename Get>
MemberRow ReadOnly(std::string_view name, Get get) {
  using T = std::invoke_result_t<Get, FtpLibrary&>;
  MemberRow row = PropertyRow(name, TypeOf<T>(), true, false, std::nullopt);
  row.call = [get](FtpLibrary& f, const std::vector<Variant>&) { return ToVariant(get(f)); };
  return row;
}

template <typename T, typename Set>
MemberRow WriteOnly(std::string_view name, Set set, std::optional<Variant> initial) {
  MemberRow row = PropertyRow(name, TypeOf<T>(), false, true, std::move(initial));
  row.put = [set](FtpLibrary& f, const Variant& v) { set(f, FromVariant<T>(v)); };
  return row;
}

template <typename Get, typename Set>
MemberRow ReadWrite(std::string_view name, Get get, Set set, std::optional<Variant> initial) {
  using T = std::invoke_result_t<Get, FtpLibrary&>;
  MemberRow row = ReadOnly(name, get);
  row.info.writable = true;
  if (initial) row.info.initial = initial->ConvertTo(row.info.type);
  row.put = [set](FtpLibrary& f, const Variant& v) { set(f, FromVariant<T>(v)); };
  return row;
}

MemberRow EventRow(std::string_view name, Event& (FtpLibrary::*event)()) {
  MemberRow row;
  row.info.name = name;
  row.info.kind = MemberKind::Event;
  row.info.type = VariantType::Empty;
  row.event = event;
  return row;
}

constexpr std::nullopt_t kNoPlainValue = std::nullopt;

// Properties: QV_R(Name), QV_RW(Name, initial), QV_W(Name, type, initial).
#define QV_R(Name) ReadOnly(#Name, [](FtpLibrary& f) { return f.Name(); })
#define QV_RW(Name, initial) \
  ReadWrite(#Name, [](FtpLibrary& f) { return f.Name(); }, \
            [](FtpLibrary& f, const auto& v) { f.Name(v); }, std::optional<Variant>(initial))
#define QV_W(Name, T, initial) \
  WriteOnly<T>(#Name, [](FtpLibrary& f, const T& v) { f.Name(v); }, std::optional<Variant>(initial))
#define QV_M(Name, ...) Method(#Name, &FtpLibrary::Name __VA_OPT__(, {__VA_ARGS__}))

std::vector<MemberRow> BuildRows() {
  return {
      EventRow("OnTransfer", &FtpLibrary::OnTransfer),
      EventRow("OnServerMessage", &FtpLibrary::OnServerMessage),
      EventRow("OnStateChange", &FtpLibrary::OnStateChange),
      EventRow("OnError", &FtpLibrary::OnError),
      // Connection settings
      QV_RW(ServerName, ""),
      QV_RW(UserName, ""),
      QV_RW(PassWord, ""),
      QV_RW(RemotePort, 21),
      QV_RW(TimeOut, 30),
      QV_W(Lype, std::int16_t, 100),
      QV_RW(NotificationPause, 10),
      // Paths and transfer settings
      QV_RW(RemotePath, ""),
      QV_RW(LocalPath, ""),
      QV_RW(OverWrite, false),
      QV_RW(ReplaceSetting, 0),
      QV_RW(RenameRule, "{oldname}1"),
      QV_RW(TransferMode, FTP_IMAGE_MODE),
      QV_RW(PassiveMode, true),
      QV_RW(Security, 0),
      QV_RW(VerifyCertificate, true),
      QV_RW(CAFile, ""),
      QV_RW(PinnedPublicKey, ""),
      QV_RW(ClientCertificate, ""),
      QV_RW(ClientKey, ""),
      QV_RW(ProtectData, true),
      QV_RW(MaxChunkSize, 2097152),
      QV_RW(Rcvbuf, 0),
      QV_RW(Sndbuf, 0),
      QV_W(MaxSpeed, std::int32_t, 0),
      QV_W(KeepAliveCommand, std::string, "NOOP"),
      QV_W(KeepAliveSecond, std::int16_t, 60),
      QV_RW(ListDirByMLSD, false),
      QV_W(ListAll, bool, false),
      QV_W(ListDirForFile, bool, false),
      QV_W(ListDirWithAsterisk, bool, false),
      QV_W(CacheListing, bool, true),
      QV_W(UTF8, bool, false),
      QV_W(AutoEncoding, bool, false),
      QV_W(ReDoTimes, std::int16_t, 4),
      QV_RW(RetryPause, std::int16_t{5}),
      QV_RW(SyncFiles, false),
      QV_W(WithoutList, bool, false),
      QV_W(CreateCorrespondFolder, bool, false),
      QV_W(FollowOutsideLinks, bool, false),
      QV_W(DisableSkip, bool, false),
      QV_RW(FileType, ""),
      QV_RW(FileTypeAllow, ""),
      QV_RW(FileTypeForbid, ""),
      QV_W(MaxSize, double, 0.0),
      QV_RW(MaxListingBytes, 64.0),
      QV_RW(MaxListingEntries, 500000),
      QV_W(MKDCheckExist, bool, false),
      QV_W(MKDInfo, std::string, ""),
      QV_W(ShowTotalPercent, bool, false),
      QV_RW(Percent, 0),
      QV_RW(TransferSize, 0.0),
      QV_W(TranstatePath, std::string, ""),
      QV_RW(ProxyServer, ""),
      QV_RW(ProxyPort, 80),
      // Messages, errors, log
      QV_RW(Title, "QuorviFtp"),
      QV_RW(Text, kNoPlainValue),
      QV_RW(RaiseErrorEvent, false),
      QV_W(EnableLog, bool, false),
      QV_R(ErrorNumber),
      QV_R(ErrorInfo),
      // State
      QV_R(Version),
      QV_R(RelInfo),
      QV_R(Busy),
      QV_R(Connected),
      QV_R(CurrentDirectory),
      QV_R(FtpState),
      QV_R(MessageInfo),
      QV_R(MessageType),
      QV_R(TransferState),
      // Session and remote operations
      QV_M(Connect),
      QV_M(CloseConnection),
      QV_M(Abort),
      QV_M(AbortCurrent),
      // Host loops and other threads
      QV_M(HostLoopFd),
      QV_M(HostLoopTimeout),
      QV_M(ProcessPending),
      QV_M(RequestAbort),
      QV_M(DeleteFile, {"FilePath"}),
      QV_M(RenameFile, {"OldFileName"}, {"NewFileName"}),
      QV_M(ExeFtpCmd, {"cmd"}, {"Arguments", ""}),
      QV_M(GetCurrentDirectory),
      // HTTP download
      QV_M(DownloadHttpFile),
      // Transfers
      QV_M(DownLoad, {"CreateFolder", true}),
      QV_M(UpLoad, {"CreateFolder", true}),
      QV_M(DownLoadFile, {"RemoteFile"}, {"LocalFile"}),
      QV_M(UpLoadFile, {"LocalFile"}, {"RemoteFile"}),
      // Listings, remote queries and remote directories
      QV_M(ExistFile, {"FileName"}),
      QV_M(GetFtpFileSize, {"FilePath"}),
      QV_M(GetFtpFileInfo, {"FilePath", ""}),
      QV_M(GetFtpDirectoryInfo, {"DirectoryPath", ""}),
      QV_M(ExistDirectory, {"DirectoryName", ""}),
      QV_M(CreateDirectory, {"DirectoryPath"}, {"Recursive", true}),
      QV_M(RemoveDirectory, {"DirectoryPath"}),
      QV_M(SetCurrentDirectory, {"DirectoryPath"}),
      QV_M(GetParentDirectory),
      // Local files and paths
      QV_M(CreateLocalFile, {"FilePath"}),
      QV_M(CreateLocalFolder, {"FolderPath"}),
      QV_M(DeleteLocalFile, {"FilePath"}),
      QV_M(GetLocalFileSize, {"FilePath"}),
      QV_M(LocalFileExists, {"FilePath"}),
      QV_M(LocalFolderExists, {"FolderPath"}),
      QV_M(WriteLocalFile, {"FilePath"}, {"Text"}, {"OverWrite", false}),
      QV_M(ReadLocalFile, {"FilePath"}),
      QV_M(GetFileName, {"FilePath"}),
      QV_M(GetFileNameWEN, {"FilePath"}),
      QV_M(GetFileExtendName, {"FilePath"}),
      QV_M(GetLocalFileDate, {"FilePath"}),
      QV_M(GetParentFolderPath, {"FolderPath"}),
      // Folder walking and display formats
      QV_M(GetFolderFilePath, {"FolderPath"}, {"Recursive", true}, {"Flag", 2}),
      QV_M(GetLocalFolderSize, {"FolderPath"}, {"i", 0}),
      QV_M(GetLocalFolderFileCount, {"FolderPath"}, {"i", 0}),
      QV_M(GetDriveNames, {"DriveType", 0}),
      QV_M(FormatFileSize, {"FileSize"}),
      QV_M(FormatTime, {"Seconds"}, {"TimeType", 0}),
      // Transfer lists and queue
      QV_M(AppendTransferList, {"FilePath"}),
      QV_M(RemoveTransferList, {"FilePath"}),
      QV_M(ChangeTransferList, {"FilePath"}, {"Delete", true}),
      QV_R(QueueIndex),
      QV_R(QueueTotal),
      QV_R(TransferedLocalFiles),
      QV_R(TransferedRemoteFiles),
      QV_R(SkippedFiles),
      QV_R(FailedFiles),
      QV_R(TransferredFileCount),
      QV_R(SkippedFileCount),
      QV_R(TransferredBytes),
      QV_R(CanceledFileList),
      QV_R(AbortedFileList),
      // Progress
      QV_R(FileSize),
      QV_R(TotalPercent),
      QV_R(TotalTransferSize),
      QV_R(TotalFileSize),
      QV_R(Speed),
      QV_R(SpeedAvg),
      QV_R(ElapsedTime),
      QV_R(ElapsedTimeCurFile),
      QV_R(LeftTime),
      // Shell, dialogs, registry and system folders
      QV_M(Run, {"FilePath"}, {"Param", ""}, {"WinStyle", 1}),
      QV_M(Execute, {"FilePath"}, {"Param", ""}, {"WinStyle", 1}),
      QV_M(Explore, {"FilePath"}, {"Action", 0}, {"Param", ""}),
      QV_M(ShowBrowseFolderDialog, {"Title", ""}, {"InitDir", ""}),
      QV_M(ShowSaveFileDialog, {"FileName", ""}),
      QV_M(ShowOpenFileDialog, {"FileFilter", ""}, {"MultiSelect", true}),
      QV_M(GetWindowsPath),
      QV_M(GetSystemPath),
      QV_M(GetTempPath),
      QV_M(GetShellFolder, {"name"}),
      QV_M(About),
      QV_M(RegCreate, {"hKey"}, {"SubKey"}),
      QV_M(RegSetValue, {"hKey"}, {"SubKey"}, {"Value"}),
      QV_M(RegSetValueEx, {"hKey"}, {"SubKey"}, {"name"}, {"Value"}, {"strType", "REG_SZ"}),
      QV_M(RegDelete, {"hKey"}, {"SubKey"}),
      QV_M(RegDeleteValue, {"hKey"}, {"SubKey"}),
      QV_M(RegDeleteValueEx, {"hKey"}, {"SubKey"}, {"name"}),
      QV_M(RegGetValue, {"hKey"}, {"SubKey"}),
      QV_M(RegGetValueEx, {"hKey"}, {"SubKey"}, {"name"}),
      QV_M(RegExists, {"hKey"}, {"SubKey"}),
  };
}

#undef QV_R
#undef QV_RW
#undef QV_W
#undef QV_M

}  // namespace

const std::vector<MemberRow>& MemberRows() {
  static const std::vector<MemberRow> rows = BuildRows();
  return rows;
}

const MemberRow* FindRow(std::string_view name) {
  for (const auto& row : MemberRows())
    if (SameName(row.info.name, name)) return &row;
  return nullptr;
}

}  // namespace quorvi::detail
