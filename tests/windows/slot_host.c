/* A host that knows nothing of the library's classes: it loads the library by name and calls plain function pointers by
   slot number, as a host from any compiler may.

   usage: slot_host LIBRARY FILE...

   Checks what every slot answers, then scans the files one behind another as one medium and prints what all types
   together find: index, sector, size. All of it is done twice, with the library unloaded in between. Exit status 0 if
   every answer was right. */

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#if defined(_WIN32)
#include <windows.h>
/* Slots as a compiler with the layout of Windows counts them. */
#define SLOT(number) (number)
#define DESTRUCTOR_SLOT 0
#else
#include <dlfcn.h>
/* Elsewhere a destructor has two slots; the second one frees the memory. */
#define SLOT(number) ((number) + 1)
#define DESTRUCTOR_SLOT 1
#endif

typedef void (*Function)(void);

typedef struct Object {
    const Function* slots;
} Object;

typedef struct Block {
    int64_t firstSector;
    const uint8_t* data;
    int32_t sectorCount;
    int32_t sectorSize;
    const void* source;
} Block;

typedef struct Found {
    int64_t startSector;
    int64_t size;
} Found;

typedef struct Geometry {
    uint32_t bytesPerSector;
    int64_t sectorCount;
} Geometry;

typedef struct Sink {
    const Function* slots;
    int type;
    int64_t lastSize;
} Sink;

/* What the library offers, by slot. */
typedef Object* (*GetFactory)(void);
typedef int32_t (*GetCount)(Object*);
typedef Object* (*Create)(Object*, int32_t index);
typedef void (*Destroy)(Object*, uint32_t flags);
typedef int32_t (*Ask)(Object*);
typedef void (*GetText)(Object*, char* buffer, uint32_t capacity);
typedef void (*ScanBlock)(Object*, const Block*, Sink*);
typedef void (*SetMaxFileSize)(Object*, int64_t size);
typedef void (*Release)(Object*);
typedef int32_t (*QueryInfo)(Object*, int32_t what, void* out, int32_t outSize);
typedef int32_t (*IsHeaderSector)(Object*, const uint8_t* sector, int32_t length, int32_t* unused);

#define CALL(Type, object, number) ((Type)(object)->slots[SLOT(number)])

enum { SectorBytes = 512, BlockSectors = 128, TypeCount = 113, Png = 46, JpegCamera = 41, JpegGraphics = 42 };

static int failures = 0;
static int isPrinting = 1;

static void Check(int isRight, const char* what, int type) {
    if (!isRight) {
        printf("type %d: %s\n", type, what);
        ++failures;
    }
}

/* The medium, and the host's two objects. */

static uint8_t* medium = NULL;
static int64_t mediumSectors = 0;

static void Unexpected(void) {
    printf("the library called a slot that it must not call\n");
    exit(2);
}

static int32_t ReadSectors(void* self, int64_t first, uint8_t* buffer, int32_t count) {
    int32_t i;
    (void)self;
    /* The first sector is number 1 in the stream. */
    for (i = 0, --first; i < count; ++i, ++first) {
        if (first >= 0 && first < mediumSectors) {
            memcpy(buffer + (size_t)i * SectorBytes, medium + first * SectorBytes, SectorBytes);
        } else {
            memset(buffer + (size_t)i * SectorBytes, 0, SectorBytes);
        }
    }
    return 1;
}

static int32_t GetGeometry(void* self, Geometry* geometry) {
    (void)self;
    geometry->bytesPerSector = SectorBytes;
    geometry->sectorCount = mediumSectors;
    return 1;
}

static int32_t ReportFound(Sink* self, const Found* file) {
    if (isPrinting) {
        printf("%d %lld %lld\n", self->type, (long long)file->startSector, (long long)file->size);
    }
    self->lastSize = file->size;
    return 1;
}

static Function sinkSlots[] = {Unexpected, Unexpected, Unexpected, Unexpected, Unexpected};
static Function sourceSlots[] = {Unexpected, Unexpected, Unexpected, Unexpected, Unexpected};
static const Object source = {sourceSlots};

static void FillOwnSlots(void) {
    sinkSlots[SLOT(1)] = (Function)ReportFound;
    sourceSlots[SLOT(1)] = (Function)ReadSectors;
    sourceSlots[SLOT(2)] = (Function)GetGeometry;
}

/* The answers of a scanner that depend on no medium. */

static void CheckText(Object* scanner, int slot, int type) {
    char whole[64];
    char cut[5];
    memset(whole, 0, sizeof whole);
    memset(cut, 'x', sizeof cut);
    CALL(GetText, scanner, slot)(scanner, whole, sizeof whole);
    CALL(GetText, scanner, slot)(scanner, cut, 4);
    CALL(GetText, scanner, slot)(scanner, NULL, 4);
    Check(strlen(whole) >= 1, "no text", type);
    Check(memcmp(whole, cut, strlen(whole) < 3 ? strlen(whole) : 3) == 0, "the cut text differs", type);
    Check(cut[3] == 'x' && cut[4] == 'x', "bytes behind the capacity are written", type);
    printf("%s|", whole);
}

static void CheckAnswers(Object* factory, int type) {
    int64_t range[2] = {-1, -1};
    int32_t answer;
    Object* scanner = CALL(Create, factory, 2)(factory, type);
    Object* other = CALL(Create, factory, 2)(factory, type);
    Check(scanner != NULL && other != NULL && scanner != other, "no scanner of its own", type);
    printf("%d|", type);
    CheckText(scanner, 2, type);
    CheckText(scanner, 3, type);
    Check(CALL(Ask, scanner, 1)(scanner) == 1, "Reset", type);
    Check(CALL(Ask, scanner, 4)(scanner) == 1, "BeginScan", type);
    Check(CALL(Ask, scanner, 5)(scanner) == 1, "EndScan", type);
    Check(CALL(Ask, scanner, 8)(scanner) == 0, "slot 8", type);
    Check(CALL(Ask, scanner, 10)(scanner) == 0, "slot 10", type);
    answer = CALL(QueryInfo, scanner, 11)(scanner, 0, range, 8);
    Check((answer == 0 || answer == 1627) && range[0] == -1, "QueryInfo with too small an output", type);
    Check(CALL(QueryInfo, scanner, 11)(scanner, 0, range, 16) == 0, "QueryInfo", type);
    Check((answer == 0) == (range[1] == -1), "the answer without a size range", type);
    printf("%lld|%lld\n", (long long)range[0], (long long)range[1]);
    CALL(Release, scanner, 9)(scanner);
    ((Destroy)other->slots[DESTRUCTOR_SLOT])(other, 1);
}

/* A picture of three sectors, the last of which ends it. Gives the size that is reported, 0 if none. */
static int64_t ScanPicture(Object* scanner, int from) {
    static const uint8_t head[] = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A};
    static const uint8_t tail[] = {'I', 'E', 'N', 'D', 0xAE, 0x42, 0x60, 0x82};
    static uint8_t bytes[3 * SectorBytes];
    Sink sink = {sinkSlots, Png, 0};
    Block block = {1 + from, bytes + (size_t)from * SectorBytes, from == 0 ? 2 : 1, SectorBytes, &source};
    memset(bytes, 0, sizeof bytes);
    memcpy(bytes, head, sizeof head);
    memcpy(bytes + 2 * SectorBytes + 100, tail, sizeof tail);
    CALL(ScanBlock, scanner, 6)(scanner, &block, &sink);
    return sink.lastSize;
}

/* Slots 1, 4, 5 and 7 by what they do to an open file and its cap. */
static void CheckRun(Object* factory) {
    static const int resets[] = {1, 4, 5};
    size_t i;
    Object* scanner = CALL(Create, factory, 2)(factory, Png);
    isPrinting = 0;
    Check(ScanPicture(scanner, 0) == 0 && ScanPicture(scanner, 2) == 2 * SectorBytes + 108, "ScanBlock", Png);
    CALL(SetMaxFileSize, scanner, 7)(scanner, 1000);
    Check(ScanPicture(scanner, 0) == 0 && ScanPicture(scanner, 2) == 1000, "SetMaxFileSize", Png);
    for (i = 0; i < sizeof resets / sizeof *resets; ++i) {
        CALL(SetMaxFileSize, scanner, 7)(scanner, 1000);
        ScanPicture(scanner, 0);
        CALL(Ask, scanner, resets[i])(scanner);
        Check(ScanPicture(scanner, 2) == 0, "an open file outlives slot 1, 4 or 5", Png);
        ScanPicture(scanner, 0);
        Check(ScanPicture(scanner, 2) > 1000, "a cap outlives slot 1, 4 or 5", Png);
    }
    CALL(Release, scanner, 9)(scanner);
    isPrinting = 1;
}

/* The thirteenth slots. */
static void CheckJpegHeaders(Object* factory) {
    uint8_t graphics[SectorBytes] = {0xFF, 0xD8, 0xFF, 0xE0, 0, 16, 'J', 'F', 'I', 'F'};
    uint8_t camera[SectorBytes] = {0xFF, 0xD8, 0xFF, 0xE1, 0, 16, 'E', 'x', 'i', 'f'};
    int type;
    for (type = JpegCamera; type <= JpegGraphics; ++type) {
        Object* scanner = CALL(Create, factory, 2)(factory, type);
        IsHeaderSector isHeader = CALL(IsHeaderSector, scanner, 12);
        Check(isHeader(scanner, camera, SectorBytes, NULL) == (type == JpegCamera), "slot 12, Exif", type);
        Check(isHeader(scanner, graphics, SectorBytes, NULL) == (type == JpegGraphics), "slot 12, JFIF", type);
        CALL(Release, scanner, 9)(scanner);
    }
}

static void ScanMedium(Object* factory) {
    static Object* scanners[TypeCount];
    static Sink sinks[TypeCount];
    int64_t first;
    int type;
    for (type = 0; type < TypeCount; ++type) {
        Sink sink = {sinkSlots, type, 0};
        sinks[type] = sink;
        scanners[type] = CALL(Create, factory, 2)(factory, type);
        CALL(Ask, scanners[type], 4)(scanners[type]);
    }
    for (first = 0; first < mediumSectors; first += BlockSectors) {
        int64_t left = mediumSectors - first;
        Block block = {1 + first, medium + first * SectorBytes, (int32_t)(left < BlockSectors ? left : BlockSectors),
                       SectorBytes, &source};
        for (type = 0; type < TypeCount; ++type) {
            CALL(ScanBlock, scanners[type], 6)(scanners[type], &block, &sinks[type]);
        }
    }
    for (type = 0; type < TypeCount; ++type) {
        CALL(Ask, scanners[type], 5)(scanners[type]);
        CALL(Release, scanners[type], 9)(scanners[type]);
    }
}

static void CheckFactory(Object* factory) {
    Check(CALL(GetCount, factory, 1)(factory) == TypeCount, "GetCount", -1);
    Check(CALL(Create, factory, 2)(factory, -1) == NULL, "Create(-1)", -1);
    Check(CALL(Create, factory, 2)(factory, TypeCount) == NULL, "Create(113)", -1);
}

static GetFactory Load(const char* name, void** library) {
#if defined(_WIN32)
    *library = (void*)LoadLibraryA(name);
    return *library == NULL ? NULL : (GetFactory)(Function)GetProcAddress((HMODULE)*library, "GetRawFileTypeFactory");
#else
    GetFactory function = NULL;
    *library = dlopen(name, RTLD_NOW | RTLD_LOCAL);
    if (*library != NULL) {
        *(void**)&function = dlsym(*library, "GetRawFileTypeFactory");
    }
    return function;
#endif
}

static void Unload(const char* name, void* library) {
#if defined(_WIN32)
    Check(FreeLibrary((HMODULE)library) != 0 && GetModuleHandleA(name) == NULL, "the library stays loaded", -1);
#else
    (void)name;
    Check(dlclose(library) == 0, "the library stays loaded", -1);
#endif
}

static void UseLibrary(const char* name) {
    void* library = NULL;
    const GetFactory getFactory = Load(name, &library);
    Object* factory;
    int type;
    if (getFactory == NULL) {
        printf("cannot load %s\n", name);
        exit(2);
    }
    factory = getFactory();
    Check(factory != NULL && factory == getFactory(), "more than one factory", -1);
    CheckFactory(factory);
    for (type = 0; type < TypeCount; ++type) {
        CheckAnswers(factory, type);
    }
    CheckRun(factory);
    CheckJpegHeaders(factory);
    ScanMedium(factory);
#if defined(_WIN32)
    /* The destructor of the factory; elsewhere its second slot would free what is not on the heap. */
    CALL(Destroy, factory, 0)(factory, 0);
    CheckFactory(factory);
#endif
    Unload(name, library);
}

static void Append(const char* name) {
    FILE* file = fopen(name, "rb");
    size_t got;
    if (file == NULL) {
        printf("cannot read %s\n", name);
        exit(2);
    }
    do {
        medium = realloc(medium, (size_t)(mediumSectors + 1) * SectorBytes);
        if (medium == NULL) {
            exit(2);
        }
        memset(medium + mediumSectors * SectorBytes, 0, SectorBytes);
        got = fread(medium + mediumSectors * SectorBytes, 1, SectorBytes, file);
        mediumSectors += got != 0;
    } while (got == SectorBytes);
    fclose(file);
}

int main(int argc, char** argv) {
    int i;
    if (argc < 3) {
        printf("usage: slot_host LIBRARY FILE...\n");
        return 2;
    }
    for (i = 2; i < argc; ++i) {
        Append(argv[i]);
    }
    FillOwnSlots();
    UseLibrary(argv[1]);
    UseLibrary(argv[1]);
    return failures != 0;
}
