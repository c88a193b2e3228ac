#pragma once

#include <service/DVMService_FileHandling_export.h>
#include <service/ExceptionHandling.h>

#include <memory>
#include <string>
#include <system_error>

namespace Drelvan {

/// The name of a file, as the operating system takes it.
///
/// Threads: a plain value. Nothing is checked or normalised at construction.
class DVMSERVICE_FILEHANDLING_EXPORT FileName {
 public:
  /// Not explicit: a file name may be given as text wherever one is expected.
  FileName(const std::string& name);
  /// Null counts as the empty name.
  FileName(const char* name);
  /// @{
  /// Takes the name of `other`; a moved-from object has an unspecified name.
  FileName(const FileName& other);
  FileName(FileName&& other) noexcept;
  FileName& operator=(const FileName& other);
  FileName& operator=(FileName&& other) noexcept;
  /// @}
  ~FileName();

  /// The name as it was given.
  std::string toString() const;

 private:
  std::string m_name;
};

/// The error of a file operation: the files, the system's reason and its error code.
///
/// The message reads "cannot VERB 'source' to 'target': reason (error N)", without the target where there is none, and
/// with "\0" for a NUL byte in a name.
/// Threads and copies: as for `DvException`.
class DVMSERVICE_FILEHANDLING_EXPORT FileNameException : public DvException {
 public:
  /// `verb` is the failed action ("copy", "rename", "remove"); `target` is empty for an action on one file;
  /// `error` is the system's error; `function`, `file` and `line` name the raising place.
  FileNameException(const char* verb, const FileName& source, const FileName& target, std::error_code error,
                    const char* function, const char* file, int line);
  /// @{
  /// Shares the texts and names of `other`.
  FileNameException(const FileNameException& other) noexcept;
  FileNameException& operator=(const FileNameException& other) noexcept;
  /// @}
  ~FileNameException() override;

  /// The file that the action was for.
  const FileName& getSource() const noexcept;
  /// The empty name where the action has no target.
  const FileName& getTarget() const noexcept;
  /// The system's text for the error code.
  std::string getReason() const;
  /// The error as it was given.
  std::error_code getErrorCode() const noexcept;

 private:
  struct Files;
  std::shared_ptr<const Files> m_files;
};

/// File operations that complete or change nothing.
///
/// Threads: every operation may be called from any thread. Each failure is a `FileNameException`. A name that contains
/// a NUL byte is rejected, since the system would read a shorter name.
class DVMSERVICE_FILEHANDLING_EXPORT FileUtilities {
 public:
  /// Whether `file` exists. With `flag` false any file, directory or other entry counts, with `flag` true only a
  /// regular file. Symbolic links are followed. A file whose state cannot be read counts as missing; that does not
  /// throw.
  static bool exists(const FileName& file, bool flag);

  /// Copies the regular file `source` to `target`, with its permissions.
  ///
  /// The content goes to a temporary file beside the target, is flushed to the disk and renamed over the target: a
  /// reader of the target sees the old file or the whole new one, even after a crash, a full disk or a kill. On failure
  /// the target is unchanged and the temporary file removed; that of a killed copy is reused and removed by the same
  /// user's next copy to that target. Copies of one user to one target are serialised, where the file system has locks;
  /// elsewhere callers must not copy to one target at the same time.
  ///
  /// Holes of the source stay holes. Where the file system can, both files share the disk blocks until one is changed.
  ///
  /// A target that is a symbolic link is replaced, not followed. Fails for a directory, for a file copied onto itself,
  /// and for a source or target that is another kind of file, such as a device.
  static void copyFile(const FileName& source, const FileName& target);

  /// Renames the file or directory `source` to `target`; an existing target file is replaced atomically.
  ///
  /// Within one file system nothing is flushed to the disk: after a crash of the system the file may have its old
  /// name or the new one, and data written to it shortly before may be missing. Across file systems a regular file
  /// is copied as by `copyFile`, which flushes it, and then removed at its old place; that removal is not flushed,
  /// and both files remain when it fails.
  static void rename(const FileName& source, const FileName& target);

  /// Removes `file`; of a symbolic link the link, not its target. Fails for a missing file and for a directory.
  static void remove(const FileName& file);

 private:
  FileUtilities();
};

}  // namespace Drelvan
