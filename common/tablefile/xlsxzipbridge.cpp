// libxlsxwriter and QuaZip in one process.
//
// libxlsxwriter packs its workbooks with the system minizip (zipOpen, then
// zipOpenNewFileInZip4_64, zipWriteInFileInZip, zipCloseFileInZip, zipClose). QuaZip
// carries its own copy of minizip and exports the same C names, and since it is loaded
// ahead of the system minizip, libxlsxwriter's calls land in QuaZip's copy. That copy
// takes a QIODevice where minizip takes a file name, so zipOpen(path) crashed in every
// workbook_close.
//
// This library is searched before both, so its zipOpen is the one libxlsxwriter gets:
// it opens the file with stdio callbacks through QuaZip's zipOpen3, and the calls that
// follow go to QuaZip's copy, which understands the handle it made. QuaZip itself never
// calls zipOpen (it opens archives with zipOpen3), so it is not affected.

#include <QtGlobal>

#include <cstdio>

#if __has_include(<quazip/zip.h>)
#include <quazip/zip.h>
#else
#include <zip.h>
#endif

namespace {

voidpf ZCALLBACK openFile(voidpf, voidpf path, int mode)
{
    const char *how = "rb";
    if (mode & ZLIB_FILEFUNC_MODE_CREATE)
        how = "wb";
    else if (mode & ZLIB_FILEFUNC_MODE_EXISTING)
        how = "r+b";
    return std::fopen(static_cast<const char *>(path), how);
}

uLong ZCALLBACK readFile(voidpf, voidpf stream, void *buffer, uLong size)
{
    return uLong(std::fread(buffer, 1, size, static_cast<FILE *>(stream)));
}

uLong ZCALLBACK writeFile(voidpf, voidpf stream, const void *buffer, uLong size)
{
    return uLong(std::fwrite(buffer, 1, size, static_cast<FILE *>(stream)));
}

ZPOS64_T ZCALLBACK tellFile(voidpf, voidpf stream)
{
    return ZPOS64_T(ftello(static_cast<FILE *>(stream)));
}

int ZCALLBACK seekFile(voidpf, voidpf stream, ZPOS64_T offset, int origin)
{
    int whence = SEEK_SET;
    if (origin == ZLIB_FILEFUNC_SEEK_CUR)
        whence = SEEK_CUR;
    else if (origin == ZLIB_FILEFUNC_SEEK_END)
        whence = SEEK_END;
    return fseeko(static_cast<FILE *>(stream), off_t(offset), whence) == 0 ? 0 : -1;
}

int ZCALLBACK closeFile(voidpf, voidpf stream)
{
    return std::fclose(static_cast<FILE *>(stream));
}

int ZCALLBACK fileError(voidpf, voidpf stream)
{
    return std::ferror(static_cast<FILE *>(stream));
}

} // namespace

extern "C" Q_DECL_EXPORT zipFile ZEXPORT zipOpen(voidpf file, int append)
{
    zlib_filefunc64_32_def functions = {};
    functions.zfile_func64.zopen64_file = openFile;
    functions.zfile_func64.zread_file = readFile;
    functions.zfile_func64.zwrite_file = writeFile;
    functions.zfile_func64.ztell64_file = tellFile;
    functions.zfile_func64.zseek64_file = seekFile;
    functions.zfile_func64.zclose_file = closeFile;
    functions.zfile_func64.zerror_file = fileError;
    functions.zfile_func64.zfakeclose_file = closeFile;
    return zipOpen3(file, append, nullptr, &functions, ZIP_DEFAULT_FLAGS);
}
