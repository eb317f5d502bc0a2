#include <KRCommon/platform/Event_Source_testing.h>

#include <direct.h>
#include <windows.h>

namespace kr_platform_testing {

namespace {

class Key {
public:
    explicit Key(const std::string& path)
    {
        if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &key_) != ERROR_SUCCESS)
            key_ = nullptr;
    }
    ~Key()
    {
        if (key_ != nullptr)
            RegCloseKey(key_);
    }
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;

    HKEY get() const { return key_; }

private:
    HKEY key_ = nullptr;
};

} // namespace

bool has_registry()
{
    return true;
}

bool key_exists(const std::string& path)
{
    return Key(path).get() != nullptr;
}

std::vector<std::string> value_names(const std::string& path)
{
    const Key key(path);
    std::vector<std::string> names;
    char name[256];
    for (DWORD i = 0, size = sizeof name;
         RegEnumValueA(key.get(), i, name, &size, nullptr, nullptr, nullptr, nullptr) == 0;
         ++i, size = sizeof name)
        names.emplace_back(name, size);
    return names;
}

std::vector<std::string> subkey_names(const std::string& path)
{
    const Key key(path);
    std::vector<std::string> names;
    char name[256];
    for (DWORD i = 0; RegEnumKeyA(key.get(), i, name, sizeof name) == 0; ++i)
        names.emplace_back(name);
    return names;
}

std::optional<Registry_Value> read_value(const std::string& path, const std::string& name)
{
    const Key key(path);
    char data[2048];
    DWORD type = 0;
    DWORD size = sizeof data;
    if (RegQueryValueExA(key.get(), name.c_str(), nullptr, &type, reinterpret_cast<BYTE*>(data),
                         &size) != ERROR_SUCCESS)
        return std::nullopt;
    return Registry_Value{static_cast<unsigned>(type), std::string(data, size)};
}

void delete_key(const std::string& path)
{
    RegDeleteTreeA(HKEY_LOCAL_MACHINE, path.c_str());
}

bool enter_folder(const std::string& path)
{
    return _chdir(path.c_str()) == 0;
}

std::unique_ptr<System_Log> System_Log::open()
{
    return nullptr;
}

} // namespace kr_platform_testing
