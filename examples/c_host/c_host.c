/* A host in C: a log, a record, colours, identifiers and errors through krcommon_c.h. It is C89 and C++,
   needs no header of the system's but for output, and with C_HOST_ALONE not even that: so another compiler
   for Windows can make it, without any libraries of its own.

       c_host          writes its log into the folder "c host log" below the working folder

   It ends with 0 when all that it was told is as it should be. */

#include <KRCommon/capi/krcommon_c.h>

/* ---- What the host needs of its system ---- */

#if defined(C_HOST_ALONE)

#define SYSTEM_CALL(type) __declspec(dllimport) type __stdcall

SYSTEM_CALL(void*) GetStdHandle(unsigned long which);
SYSTEM_CALL(int)
WriteFile(void* file, const void* data, unsigned long size, unsigned long* written,
          void* overlapped);
SYSTEM_CALL(void) ExitProcess(unsigned code);

int _fltused = 0; /* the compiler asks for it where there are floats */

/* The compiler calls these for structs. */
void* memset(void* to, int byte, kr_c_size size)
{
    volatile unsigned char* at = (volatile unsigned char*)to;
    while (size-- > 0)
        *at++ = (unsigned char)byte;
    return to;
}

void* memcpy(void* to, const void* from, kr_c_size size)
{
    volatile unsigned char* at = (volatile unsigned char*)to;
    const unsigned char* source = (const unsigned char*)from;
    while (size-- > 0)
        *at++ = *source++;
    return to;
}

static void print(const char* text, kr_c_size length)
{
    const unsigned long standard_output = (unsigned long)-11;
    unsigned long written = 0;
    WriteFile(GetStdHandle(standard_output), text, (unsigned long)length, &written, 0);
}

#else

#include <stdio.h>

static void print(const char* text, kr_c_size length)
{
    fwrite(text, 1, length, stdout);
}

#endif

static kr_c_size length_of(const char* text)
{
    kr_c_size length = 0;
    while (text[length] != '\0')
        ++length;
    return length;
}

static void say(const char* text)
{
    print(text, length_of(text));
}

static void say_number(kr_c_int32 number)
{
    char digits[12];
    int at = 12;
    kr_c_uint32 left = number < 0 ? 0U - (kr_c_uint32)number : (kr_c_uint32)number;
    do
        digits[--at] = (char)('0' + left % 10);
    while ((left /= 10) > 0);
    if (number < 0)
        digits[--at] = '-';
    print(digits + at, (kr_c_size)(12 - at));
}

/* ---- What it finds wrong ---- */

static int mistakes = 0;

static void expect(int holds, const char* what)
{
    if (holds)
        return;
    ++mistakes;
    say("WRONG: ");
    say(what);
    say("\n");
}

/* Of calls that must succeed. */
static void good(kr_c_error error, const char* what)
{
    if (error == KR_C_OK)
        return;
    say(kr_c_error_text(error));
    say(": ");
    expect(0, what);
}

/* Structs that may grow: all zeros, and their size. */
static void clear(void* at, kr_c_size size)
{
    unsigned char* byte = (unsigned char*)at;
    while (size-- > 0)
        *byte++ = 0;
}
#define BEGIN(value) (clear(&(value), sizeof(value)), (void)((value).size = sizeof(value)))

/* ---- The log ---- */

static void use_log(void)
{
    const char folder[] = "c host log";
    const char line[] = "a line of a C host: 25 \xE2\x82\xAC";
    kr_c_owned_log log = 0;
    kr_c_log_options options;
    kr_c_log_status before;
    kr_c_log_status after;
    char file[300];
    kr_c_size length = 0;

    BEGIN(options);
    BEGIN(before);
    BEGIN(after);
    options.flags = KR_C_LOG_SILENCES_STDERR;
    good(kr_c_log_set_options(&options), "options");
    good(kr_c_log_set_level(3), "level");
    good(kr_c_log_set_sizes(6291456, 104857600), "sizes");
    good(kr_c_log_open(folder, sizeof folder - 1, "c_host", 6, &log), "open");
    good(kr_c_log_get_status(&before), "status");
    good(kr_c_log_line(KR_C_LOG_INFO, line, sizeof line - 1), "line");
    good(kr_c_log_run(log, 50000), "run"); /* a thread of its own, as a rule */
    good(kr_c_log_get_status(&after), "status");
    expect(after.is_good, "the log is good");
    expect(after.level == 3, "level");
    expect(after.lines == before.lines + 1, "a line more");
    expect(after.file_bytes >= before.file_bytes + sizeof line - 1, "bytes of a line more");
    good(kr_c_log_file(file, sizeof file, &length), "file");
    say("log: ");
    print(file, length);
    say("\n");
    good(kr_c_log_close(&log), "close");
    expect(log == 0, "a handle that was given back is null");
}

/* ---- Colours ---- */

static void use_colors(void)
{
    const kr_c_uint8 pixels[9] = {255, 0, 0, 0, 0, 255, 128, 128, 128}; /* red, blue, grey */
    kr_c_int32 hue[3];
    float saturation[3];
    float value[3];
    kr_c_uint32 masks[3];
    kr_c_int32 is_read = 0;
    kr_c_int32 preset;

    good(kr_c_rgb_to_hsv_batch(pixels, pixels + 1, pixels + 2, 3, 3, hue, saturation, value,
                               sizeof(float)),
         "conversion");
    expect(hue[0] == 0 && hue[1] == 240 && hue[2] == -1, "hues");
    expect(saturation[0] == 1.0F && saturation[2] == 0.0F && value[1] == 1.0F, "colours");
    good(kr_c_color_presets_batch(0, hue, saturation, value, sizeof(float), 3, masks), "presets");
    good(kr_c_configuration_is_read(&is_read), "configuration");
    expect(is_read, "the configuration beside the library is read");
    expect((masks[0] >> KR_C_RED & 1) == 1, "red is red");
    expect((masks[1] >> KR_C_DARK_BLUE & 1) == 1, "blue is dark blue");
    say("grey is");
    for (preset = 1; preset < KR_C_PRESETS; ++preset)
        if ((masks[2] >> preset & 1) == 1) {
            say(" ");
            say(kr_c_preset_name(preset));
        }
    say("\n");
    expect(kr_c_angle_distance(350.0F, 10.0F) == 20.0F, "a float comes back");
}

/* ---- A record ---- */

static kr_c_size build_record(kr_c_uint8* bytes, kr_c_size capacity)
{
    kr_c_int64 time[2];
    float min_x[2] = {10.0F, 11.5F};
    float max_x[2] = {20.0F, 21.5F};
    kr_c_uint8 red[1] = {255};
    float area[1] = {60.0F};
    kr_c_owned_record record = 0;
    kr_c_record_fields fields;
    kr_c_instance_columns instances; /* columns that stay null are zeros */
    kr_c_color_columns colors;
    kr_c_size size = 0;

    time[0] = (kr_c_int64)1700000000 * 1000000;
    time[1] = time[0] + 40000;
    good(kr_c_record_create(&record), "create");
    BEGIN(fields);
    good(kr_c_record_get_fields(record, &fields), "fields of a new record");
    fields.object_id = 12;
    fields.first_seen_time = time[0];
    fields.duration = 3;
    good(kr_c_record_set_fields(record, &fields), "set fields");
    BEGIN(instances);
    BEGIN(colors);
    instances.time = time;
    instances.min_x = min_x;
    instances.max_x = max_x;
    colors.red = red;
    colors.area = area;
    good(kr_c_record_add_instances(record, &instances, 2), "instances");
    good(kr_c_record_add_colors(record, 1, &colors, 1), "colours");
    good(kr_c_record_set_auxiliary(record, "aux", 3), "auxiliary data");
    good(kr_c_record_encode(record, KR_C_NO_LIMIT, bytes, capacity, &size), "encode");
    good(kr_c_record_destroy(&record), "destroy");
    expect(size == 132 + 4 + 2 * 68 + 5 + 4 + 3, "size of the record");
    return size;
}

static void read_record(const kr_c_uint8* bytes, kr_c_size size)
{
    kr_c_record_status status;
    kr_c_filter filter;
    kr_c_records records;
    kr_c_cursor cursor;
    kr_c_record_columns columns;
    kr_c_instance_columns instances;
    kr_c_uint64 ids[8];
    kr_c_int64 seen[8];
    float min_x[4];
    kr_c_borrowed_bytes auxiliary = 0;
    kr_c_size auxiliary_size = 0;
    kr_c_size count = 0;

    BEGIN(status);
    BEGIN(filter);
    BEGIN(records);
    BEGIN(cursor);
    BEGIN(columns);
    BEGIN(instances);
    good(kr_c_view_check(bytes, size, &status), "check");
    expect(status.state == KR_C_RECORD_WHOLE && status.instances == 2, "a whole record");
    good(kr_c_view_auxiliary(bytes, size, &auxiliary, &auxiliary_size), "auxiliary data");
    expect(auxiliary_size == 3 && auxiliary == bytes + size - 3, "they lie in the record");

    good(kr_c_filter_init(&filter), "filter");
    filter.from = (kr_c_int64)1700000000 * 1000000;
    filter.to = filter.from;
    filter.min_duration = 3.0F;
    records.bytes = bytes;
    records.bytes_size = size;
    columns.object_id = ids;
    columns.first_seen_time = seen;
    good(kr_c_scan_records(&records, &filter, &cursor, &columns, 8, &count), "scan");
    expect(count == 1 && ids[0] == 12 && seen[0] == filter.from, "the record is found");
    instances.min_x = min_x;
    good(kr_c_view_instances(bytes, size, 0, &instances, 4, &count), "instances");
    expect(count == 2 && min_x[0] == 10.0F && min_x[1] == 11.5F, "the instances are read");
    say("record: ");
    say_number((kr_c_int32)size);
    say(" bytes, ");
    say_number((kr_c_int32)count);
    say(" instances\n");
}

/* ---- Identifiers, and errors ---- */

static void use_guids(void)
{
    kr_c_guid guids[2];
    kr_c_guid read;
    char text[40];
    kr_c_size length = 0;
    kr_c_size position = 0;

    good(kr_c_guid_create(7, guids, 2), "create identifiers");
    good(kr_c_guid_to_text(&guids[0], text, sizeof text, &length), "text");
    expect(length == 36 && text[36] == '\0' && text[14] == '7', "text of an identifier");
    good(kr_c_guid_from_text(text, length, &read, &position), "read");
    expect(read.data1 == guids[0].data1 && read.data4[7] == guids[0].data4[7], "the same");
    say("identifier: ");
    say(text);
    say("\n");
    text[3] = '?';
    expect(kr_c_guid_from_text(text, length, &read, &position) == KR_C_TEXT_CHARACTER &&
               position == 3,
           "a wrong character has a place");
}

static void make_mistakes(void)
{
    kr_c_owned_sha1 hash = 0;
    kr_c_owned_sha1 copy;
    char text[41];
    kr_c_size length = 0;

    expect(kr_c_sha1_create(0) == KR_C_NULL_ARGUMENT, "null is told");
    good(kr_c_sha1_create(&hash), "hash");
    good(kr_c_sha1_feed(hash, "abc", 3), "feed");
    expect(kr_c_sha1_text(hash, 0, text, 39, &length) == KR_C_BUFFER_TOO_SMALL && length == 40,
           "a small buffer is told");
    good(kr_c_sha1_text(hash, 0, text, sizeof text, &length), "text");
    expect(text[0] == 'A' && text[1] == '9' && text[39] == 'D' && text[40] == '\0', "the digest");
    expect(kr_c_sha1_feed(hash, "d", 1) == KR_C_WRONG_STATE, "a wrong state is told");
    copy = hash;
    good(kr_c_sha1_destroy(&hash), "destroy");
    expect(kr_c_sha1_reset(copy) == KR_C_BAD_HANDLE, "a handle that is none any more is told");
    expect(kr_c_record_clear((kr_c_record*)copy) == KR_C_BAD_HANDLE, "and one of another kind");
    say("no error: ");
    say(kr_c_error_text(KR_C_OK));
    say("; bad handle: ");
    say(kr_c_error_text(KR_C_BAD_HANDLE));
    say("\n");
}

static int run_host(void)
{
    kr_c_uint8 bytes[512];

    say("KRCommon ");
    say(kr_c_version_text());
    say(", ABI ");
    say_number((kr_c_int32)kr_c_abi());
    say("\n");
    expect(kr_c_abi() >= KR_C_ABI, "the library has what this header has");
    use_log();
    use_colors();
    read_record(bytes, build_record(bytes, sizeof bytes));
    use_guids();
    make_mistakes();
    say(mistakes == 0 ? "all is well\n" : "something is wrong\n");
    return mistakes == 0 ? 0 : 1;
}

#if defined(C_HOST_ALONE)
void host_entry(void)
{
    ExitProcess((unsigned)run_host());
}
#else
int main(void)
{
    return run_host();
}
#endif
