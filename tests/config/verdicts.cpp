// What the library's reader says of configuration files, one line each:
//
//   config_verdicts good/one_preset.xml bad/two_roots.xml
//   good/one_preset.xml: accepted
//   bad/two_roots.xml: line:9-''-Not well formed

#include <KRCommon/colors/Configuration_Reader.h>

#include <cstdio>
#include <string>

int main(int count, char** arguments)
{
    for (int i = 1; i < count; ++i) {
        KRCMN::XML_configuration configuration;
        const kr_internal::Xml_Error error =
            kr_internal::read_configuration_file(arguments[i], configuration);
        const std::string verdict = error ? kr_internal::text_of(error) : "accepted";
        std::printf("%s: %s\n", arguments[i], verdict.c_str());
    }
}
