/* Tells whether the password in the variable PFX_PASSWORD fits a document: verify FILE */
#include <locale.h>
#include <mvlpfx/mvlpfx.h>
#include <stdio.h>
#include <stdlib.h>
#include <wchar.h>

static BYTE* ReadAll(const char* path, DWORD* size) {
    FILE* file = fopen(path, "rb");
    BYTE* bytes = NULL;
    if (file != NULL && fseek(file, 0, SEEK_END) == 0) {
        const long length = ftell(file);
        rewind(file);
        bytes = length > 0 ? malloc((size_t)length) : NULL;
        *size = bytes != NULL ? (DWORD)fread(bytes, 1, (size_t)length, file) : 0;
    }
    if (file != NULL) {
        fclose(file);
    }
    return bytes;
}

int main(int argc, char** argv) {
    const char* text = getenv("PFX_PASSWORD");
    wchar_t password[64] = L"";
    PfxBlob pfx = {0, NULL};
    BOOL fits;

    /* The password's code page is that of the locale. */
    setlocale(LC_ALL, "");
    if (argc != 2 || text == NULL || mbstowcs(password, text, 63) == (size_t)-1) {
        fprintf(stderr, "usage: PFX_PASSWORD=... verify FILE\n");
        return 2;
    }
    pfx.pbData = ReadAll(argv[1], &pfx.cbData);
    if (pfx.pbData == NULL) {
        fprintf(stderr, "%s can't be read\n", argv[1]);
        return 2;
    }
    fits = UzVerifyPswPFX(&pfx, password);
    if (fits) {
        printf("the password fits\n");
    } else if (GetLastError() == (DWORD)NTE_KEYSET_ENTRY_BAD) {
        printf("the password is wrong\n");
    } else {
        printf("no verdict: 0x%08X\n", (unsigned)GetLastError());
    }
    free(pfx.pbData);
    return fits ? 0 : 1;
}
