// Holds the hand-written binder code to the .aidl files it implements.
#include <com/halcyon/deviceconfig/aidl/BnDeviceConfig.h>
#include <com/halcyon/deviceconfig/aidl/BnOnPropertiesChangeListener.h>
#include <com/halcyon/deviceconfig/aidl/Property.h>

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace com::halcyon::deviceconfig::aidl;

std::string readText(const std::string& path) {
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

// The last identifier of each comma-separated declaration, i.e. the parameter or field names.
std::vector<std::string> names(const std::string& list) {
    std::vector<std::string> out;
    static const std::regex lastWord(R"((\w+)\s*$)");
    std::stringstream parts(list);
    for (std::string part; std::getline(parts, part, ',');) {
        std::smatch m;
        if (std::regex_search(part, m, lastWord)) out.push_back(m[1]);
    }
    return out;
}

// Each method of an .aidl file with the parameter names its C++ form takes, in order.
struct AidlFile {
    std::string descriptor;
    std::vector<std::pair<std::string, std::vector<std::string>>> methods;
};

AidlFile parseAidl(const std::string& file) {
    const std::string text =
            readText(std::string(AIDL_DIR) + "/com/halcyon/deviceconfig/aidl/" + file);
    AidlFile aidl;
    std::smatch m;
    const std::regex declaration(R"(package\s+([\w.]+);[^]*(interface|parcelable)\s+(\w+))");
    EXPECT_TRUE(std::regex_search(text, m, declaration)) << file;
    aidl.descriptor = m[1].str() + "." + m[3].str();
    static const std::regex method(R"(([\w<>]+)\s+(\w+)\s*\(([^)]*)\)\s*;)");
    for (auto it = std::sregex_iterator(text.begin(), text.end(), method);
         it != std::sregex_iterator(); ++it) {
        std::vector<std::string> params = names((*it)[3]);
        if ((*it)[1] != "void") params.push_back("_aidl_return");
        aidl.methods.emplace_back((*it)[2], params);
    }
    return aidl;
}

// Parameter names of `name` as the C++ interface header declares it.
std::vector<std::string> cppParams(const std::string& header, const std::string& name) {
    const std::string text = readText(std::string(AIDL_HEADER_DIR) + "/" + header);
    std::smatch m;
    EXPECT_TRUE(std::regex_search(text, m, std::regex("Status\\s+" + name + R"(\(([^)]*)\))")))
            << name;
    return names(m[1]);
}

// Descriptors, transaction codes in declaration order, and parameter order of every method.
TEST(AidlConformanceTest, HandWrittenInterfacesMatchTheirAidl) {
    const struct {
        std::string file;
        android::String16 descriptor;
        std::map<std::string, uint32_t> codes;
    } interfaces[] = {
            {"IDeviceConfig",
             IDeviceConfig::descriptor,
             {{"getProperties", BnDeviceConfig::TRANSACTION_getProperties},
              {"addOnPropertiesChangeListener",
               BnDeviceConfig::TRANSACTION_addOnPropertiesChangeListener},
              {"removeOnPropertiesChangeListener",
               BnDeviceConfig::TRANSACTION_removeOnPropertiesChangeListener}}},
            {"IOnPropertiesChangeListener",
             IOnPropertiesChangeListener::descriptor,
             {{"onPropertiesChanged",
               BnOnPropertiesChangeListener::TRANSACTION_onPropertiesChanged}}},
    };
    for (const auto& interface : interfaces) {
        const AidlFile aidl = parseAidl(interface.file + ".aidl");
        EXPECT_EQ(interface.descriptor, android::String16(aidl.descriptor.c_str()));
        ASSERT_EQ(aidl.methods.size(), interface.codes.size());
        for (size_t i = 0; i < aidl.methods.size(); ++i) {
            const auto& [name, params] = aidl.methods[i];
            SCOPED_TRACE(name);
            ASSERT_TRUE(interface.codes.count(name));
            EXPECT_EQ(interface.codes.at(name), android::IBinder::FIRST_CALL_TRANSACTION + i);
            EXPECT_EQ(cppParams(interface.file + ".h", name), params);
        }
    }
    // Its field order is held by the hand-built bytes of the wire test.
    EXPECT_EQ(Property::getParcelableDescriptor(),
              android::String16(parseAidl("Property.aidl").descriptor.c_str()));
}

}  // namespace
