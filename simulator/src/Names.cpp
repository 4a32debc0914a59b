#include "Names.h"

#include <audiosim/Model.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace audiosim::detail {

namespace {

GUID g(const wchar_t* text) {
    GUID guid{};
    parseGuid(text, guid);
    return guid;
}

}  // namespace

const std::vector<NamedGuid>& interfaceIds() {
    static const std::vector<NamedGuid> table = {
        {L"IID_IUnknown", g(L"{00000000-0000-0000-C000-000000000046}")},
        {L"IID_IClassFactory", g(L"{00000001-0000-0000-C000-000000000046}")},
        {L"IID_IMarshal", g(L"{00000003-0000-0000-C000-000000000046}")},
        {L"IID_INoMarshal", g(L"{ECC8691B-C1DB-4DC0-855E-65F6C551AF49}")},
        {L"IID_IAgileObject", g(L"{94EA2B94-E9CC-49E0-C0FF-EE64CA8F5B90}")},
        {L"IID_IMMDeviceEnumerator", g(L"{A95664D2-9614-4F35-A746-DE8DB63617E6}")},
        {L"IID_IMMDeviceCollection", g(L"{0BD7A1BE-7A1A-44DB-8397-CC5392387B5E}")},
        {L"IID_IMMDevice", g(L"{D666063F-1587-4E43-81F1-B948E807363F}")},
        {L"IID_IMMEndpoint", g(L"{1BE09788-6894-4089-8586-9A2A6C265AC5}")},
        {L"IID_IMMNotificationClient", g(L"{7991EEC9-7E89-4D85-8390-6C703CEC60C0}")},
        {L"IID_IPropertyStore", g(L"{886D8EEB-8CF2-4446-8D02-CDBA1DBDCF99}")},
        {L"IID_IDeviceTopology", g(L"{2A07407E-6497-4A18-9787-32F79BD0D98F}")},
        {L"IID_IConnector", g(L"{9C2C4058-23F5-41DE-877A-DF3AF236A09E}")},
        {L"IID_ISubunit", g(L"{82149A85-DBA6-4487-86BB-EA8F7FEFCC71}")},
        {L"IID_IPart", g(L"{AE2DE0E4-5BCA-4F2D-AA46-5D13F8FDB3A9}")},
        {L"IID_IPartsList", g(L"{6DAA848C-5EB0-45CC-AEA5-998A2CDA1FFB}")},
        {L"IID_IControlInterface", g(L"{45D37C3F-5140-444A-AE24-400789F3CBF3}")},
        {L"IID_IControlChangeNotify", g(L"{A09513ED-C709-4D21-BD7B-5F34C47F3947}")},
        {L"IID_IKsJackDescription", g(L"{4509F757-2D46-4637-8E62-CE7DB944F57B}")},
        {L"IID_IKsJackDescription2", g(L"{478F3A9B-E0C9-4827-9228-6F5505FFE76A}")},
        {L"IID_IPerChannelDbLevel", g(L"{C2F8E001-F205-4BC9-99BC-C13B1E048CCB}")},
        {L"IID_IAudioVolumeLevel", g(L"{7FB7B48F-531D-44A2-BCB3-5AD5A134B3DC}")},
        {L"IID_IAudioMute", g(L"{DF45AEEA-B74A-4B6B-AFAD-2366B6AA012E}")},
        {L"IID_IAudioInputSelector", g(L"{4F03DC02-5E6E-4653-8F72-A030C123D598}")},
        {L"IID_IAudioOutputSelector", g(L"{BB515F69-94A7-429E-8B9C-271B3F11A3AB}")},
        {L"IID_IAudioEndpointVolume", g(L"{5CDF2C82-841E-4546-9722-0CF74078229A}")},
        {L"IID_IAudioEndpointVolumeEx", g(L"{66E11784-F695-4F28-A505-A7080081A78F}")},
        {L"IID_IAudioEndpointVolumeCallback", g(L"{657804FA-D6AD-4496-8A60-352752AF4F89}")},
        {L"IID_IAudioMeterInformation", g(L"{C02216F6-8C67-4B5B-9D00-D008E73E0064}")},
        {L"IID_IAudioClient", g(L"{1CB9AD4C-DBFA-4C32-B178-C2F568A703B2}")},
        {L"IID_IAudioClient2", g(L"{726778CD-F60A-4EDA-82DE-E47610CD78AA}")},
        {L"IID_IAudioClient3", g(L"{7ED4EE07-8E67-4CD4-8C1A-2B7A5987AD42}")},
        {L"IID_IAudioRenderClient", g(L"{F294ACFC-3146-4483-A7BF-ADDCA7C260E2}")},
        {L"IID_IAudioCaptureClient", g(L"{C8ADBD64-E71E-48A0-A4DE-185C395CD317}")},
        {L"IID_IAudioClock", g(L"{CD63314F-3FBA-4A1B-812C-EF96358728E7}")},
        {L"IID_IAudioSessionManager", g(L"{BFA971F1-4D5E-40BB-935E-967039BFBEE4}")},
        {L"IID_IAudioSessionManager2", g(L"{77AA99A0-1BD6-484F-8BC7-2C654C9A9B6F}")},
        {L"IID_IBaseFilter", g(L"{56A86895-0AD4-11CE-B03A-0020AF0BA770}")},
    };
    return table;
}

const std::vector<NamedGuid>& nodeTypes() {
    static const std::vector<NamedGuid> table = {
        {L"KSNODETYPE_MICROPHONE", g(L"{DFF21BE1-F70F-11D0-B917-00A0C9223196}")},
        {L"KSNODETYPE_DESKTOP_MICROPHONE", g(L"{DFF21BE2-F70F-11D0-B917-00A0C9223196}")},
        {L"KSNODETYPE_PERSONAL_MICROPHONE", g(L"{DFF21BE3-F70F-11D0-B917-00A0C9223196}")},
        {L"KSNODETYPE_OMNI_DIRECTIONAL_MICROPHONE", g(L"{DFF21BE4-F70F-11D0-B917-00A0C9223196}")},
        {L"KSNODETYPE_MICROPHONE_ARRAY", g(L"{DFF21BE5-F70F-11D0-B917-00A0C9223196}")},
        {L"KSNODETYPE_PROCESSING_MICROPHONE_ARRAY", g(L"{DFF21BE6-F70F-11D0-B917-00A0C9223196}")},
        {L"KSNODETYPE_SPEAKER", g(L"{DFF21CE1-F70F-11D0-B917-00A0C9223196}")},
        {L"KSNODETYPE_HEADPHONES", g(L"{DFF21CE2-F70F-11D0-B917-00A0C9223196}")},
        {L"KSNODETYPE_HEAD_MOUNTED_DISPLAY_AUDIO", g(L"{DFF21CE3-F70F-11D0-B917-00A0C9223196}")},
        {L"KSNODETYPE_DESKTOP_SPEAKER", g(L"{DFF21CE4-F70F-11D0-B917-00A0C9223196}")},
        {L"KSNODETYPE_ROOM_SPEAKER", g(L"{DFF21CE5-F70F-11D0-B917-00A0C9223196}")},
        {L"KSNODETYPE_COMMUNICATION_SPEAKER", g(L"{DFF21CE6-F70F-11D0-B917-00A0C9223196}")},
        {L"KSNODETYPE_LOW_FREQUENCY_EFFECTS_SPEAKER", g(L"{DFF21CE7-F70F-11D0-B917-00A0C9223196}")},
        {L"KSNODETYPE_HANDSET", g(L"{DFF21DE1-F70F-11D0-B917-00A0C9223196}")},
        {L"KSNODETYPE_HEADSET", g(L"{DFF21DE2-F70F-11D0-B917-00A0C9223196}")},
        {L"KSNODETYPE_SPEAKERPHONE_NO_ECHO_REDUCTION", g(L"{DFF21DE3-F70F-11D0-B917-00A0C9223196}")},
        {L"KSNODETYPE_ECHO_SUPPRESSING_SPEAKERPHONE", g(L"{DFF21DE4-F70F-11D0-B917-00A0C9223196}")},
        {L"KSNODETYPE_ECHO_CANCELING_SPEAKERPHONE", g(L"{DFF21DE5-F70F-11D0-B917-00A0C9223196}")},
        {L"KSNODETYPE_ANALOG_CONNECTOR", g(L"{DFF21FE1-F70F-11D0-B917-00A0C9223196}")},
        {L"KSNODETYPE_DIGITAL_AUDIO_INTERFACE", g(L"{DFF21FE2-F70F-11D0-B917-00A0C9223196}")},
        {L"KSNODETYPE_LINE_CONNECTOR", g(L"{DFF21FE3-F70F-11D0-B917-00A0C9223196}")},
        {L"KSNODETYPE_LEGACY_AUDIO_CONNECTOR", g(L"{DFF21FE4-F70F-11D0-B917-00A0C9223196}")},
        {L"KSNODETYPE_SPDIF_INTERFACE", g(L"{DFF21FE5-F70F-11D0-B917-00A0C9223196}")},
        {L"KSNODETYPE_HDMI_INTERFACE", g(L"{D1B9CC2A-F519-417F-91C9-55FA65481001}")},
        {L"KSNODETYPE_CD_PLAYER", g(L"{DFF220E3-F70F-11D0-B917-00A0C9223196}")},
        {L"KSNODETYPE_SYNTHESIZER", g(L"{DFF220F3-F70F-11D0-B917-00A0C9223196}")},
        {L"KSNODETYPE_DAC", g(L"{507AE360-C554-11D0-8A2B-00A0C9255AC1}")},
        {L"KSNODETYPE_ADC", g(L"{4D837FE0-C555-11D0-8A2B-00A0C9255AC1}")},
        {L"KSNODETYPE_SRC", g(L"{9DB7B9E0-C555-11D0-8A2B-00A0C9255AC1}")},
        {L"KSNODETYPE_SUPERMIX", g(L"{E573ADC0-C555-11D0-8A2B-00A0C9255AC1}")},
        {L"KSNODETYPE_MUX", g(L"{2CEAF780-C556-11D0-8A2B-00A0C9255AC1}")},
        {L"KSNODETYPE_DEMUX", g(L"{C0EB67D4-E807-11D0-958A-00C04FB925D3}")},
        {L"KSNODETYPE_SUM", g(L"{DA441A60-C556-11D0-8A2B-00A0C9255AC1}")},
        {L"KSNODETYPE_MUTE", g(L"{02B223C0-C557-11D0-8A2B-00A0C9255AC1}")},
        {L"KSNODETYPE_VOLUME", g(L"{3A5ACC00-C557-11D0-8A2B-00A0C9255AC1}")},
        {L"KSNODETYPE_TONE", g(L"{7607E580-C557-11D0-8A2B-00A0C9255AC1}")},
        {L"KSNODETYPE_EQUALIZER", g(L"{9D41B4A0-C557-11D0-8A2B-00A0C9255AC1}")},
        {L"KSNODETYPE_AGC", g(L"{E88C9BA0-C557-11D0-8A2B-00A0C9255AC1}")},
        {L"KSNODETYPE_LOUDNESS", g(L"{41887440-C558-11D0-8A2B-00A0C9255AC1}")},
        {L"KSNODETYPE_PEAKMETER", g(L"{A085651E-5F0D-4B36-A869-D195D6AB4B9E}")},
        {L"KSNODETYPE_DEV_SPECIFIC", g(L"{941C7AC0-C559-11D0-8A2B-00A0C9255AC1}")},
        {L"KSCATEGORY_AUDIO", g(L"{6994AD04-93EF-11D0-A3CC-00A0C9223196}")},
    };
    return table;
}

const std::vector<NamedKey>& propertyKeys() {
    static const std::vector<NamedKey> table = {
        {L"PKEY_Device_DeviceDesc", g(L"{A45C254E-DF1C-4EFD-8020-67D146A850E0}"), 2},
        {L"PKEY_Device_HardwareIds", g(L"{A45C254E-DF1C-4EFD-8020-67D146A850E0}"), 3},
        {L"PKEY_Device_Service", g(L"{A45C254E-DF1C-4EFD-8020-67D146A850E0}"), 6},
        {L"PKEY_Device_Class", g(L"{A45C254E-DF1C-4EFD-8020-67D146A850E0}"), 9},
        {L"PKEY_Device_ClassGuid", g(L"{A45C254E-DF1C-4EFD-8020-67D146A850E0}"), 10},
        {L"PKEY_Device_Driver", g(L"{A45C254E-DF1C-4EFD-8020-67D146A850E0}"), 11},
        {L"PKEY_Device_Manufacturer", g(L"{A45C254E-DF1C-4EFD-8020-67D146A850E0}"), 13},
        {L"PKEY_Device_FriendlyName", g(L"{A45C254E-DF1C-4EFD-8020-67D146A850E0}"), 14},
        {L"PKEY_Device_EnumeratorName", g(L"{A45C254E-DF1C-4EFD-8020-67D146A850E0}"), 24},
        {L"PKEY_DeviceInterface_FriendlyName", g(L"{026E516E-B814-414B-83CD-856D6FEF4822}"), 2},
        {L"PKEY_DeviceInterface_Enabled", g(L"{026E516E-B814-414B-83CD-856D6FEF4822}"), 3},
        {L"PKEY_DeviceInterface_ClassGuid", g(L"{026E516E-B814-414B-83CD-856D6FEF4822}"), 4},
        {L"DEVPKEY_Device_InstanceId", g(L"{78C34FC8-104A-4ACA-9EA4-524D52996E57}"), 256},
        {L"DEVPKEY_Device_Parent", g(L"{4340A6C5-93FA-4706-972C-7B648008A5A7}"), 8},
        {L"DEVPKEY_Device_ContainerId", g(L"{8C7ED206-3F8A-4827-B3AB-AE9E1FAEFC6C}"), 2},
        {L"PKEY_AudioEndpoint_FormFactor", g(L"{1DA5D803-D492-4EDD-8C23-E0C0FFEE7F0E}"), 0},
        {L"PKEY_AudioEndpoint_ControlPanelPageProvider", g(L"{1DA5D803-D492-4EDD-8C23-E0C0FFEE7F0E}"), 1},
        {L"PKEY_AudioEndpoint_Association", g(L"{1DA5D803-D492-4EDD-8C23-E0C0FFEE7F0E}"), 2},
        {L"PKEY_AudioEndpoint_PhysicalSpeakers", g(L"{1DA5D803-D492-4EDD-8C23-E0C0FFEE7F0E}"), 3},
        {L"PKEY_AudioEndpoint_GUID", g(L"{1DA5D803-D492-4EDD-8C23-E0C0FFEE7F0E}"), 4},
        {L"PKEY_AudioEndpoint_Disable_SysFx", g(L"{1DA5D803-D492-4EDD-8C23-E0C0FFEE7F0E}"), 5},
        {L"PKEY_AudioEndpoint_FullRangeSpeakers", g(L"{1DA5D803-D492-4EDD-8C23-E0C0FFEE7F0E}"), 6},
        {L"PKEY_AudioEndpoint_Supports_EventDriven_Mode", g(L"{1DA5D803-D492-4EDD-8C23-E0C0FFEE7F0E}"), 7},
        {L"PKEY_AudioEndpoint_JackSubType", g(L"{1DA5D803-D492-4EDD-8C23-E0C0FFEE7F0E}"), 8},
        {L"PKEY_AudioEngine_DeviceFormat", g(L"{F19F064D-082C-4E27-BC73-6882A1BB8E4C}"), 0},
        {L"PKEY_AudioEngine_OEMFormat", g(L"{E4870E26-3CC5-4CD2-BA46-CA0A9A70ED04}"), 3},
    };
    return table;
}

namespace {

struct NamedHresult {
    const char* name;
    HRESULT value;
};

const std::vector<NamedHresult>& hresults() {
    static const std::vector<NamedHresult> table = {
        {"S_OK", S_OK},
        {"S_FALSE", S_FALSE},
        {"E_FAIL", E_FAIL},
        {"E_NOTIMPL", E_NOTIMPL},
        {"E_NOINTERFACE", E_NOINTERFACE},
        {"E_POINTER", E_POINTER},
        {"E_INVALIDARG", E_INVALIDARG},
        {"E_OUTOFMEMORY", E_OUTOFMEMORY},
        {"E_ACCESSDENIED", E_ACCESSDENIED},
        {"E_UNEXPECTED", E_UNEXPECTED},
        {"E_HANDLE", E_HANDLE},
        {"E_ABORT", E_ABORT},
        {"E_NOTFOUND", HRESULT_FROM_WIN32(ERROR_NOT_FOUND)},
        {"STG_E_ACCESSDENIED", STG_E_ACCESSDENIED},
        {"STG_E_INVALIDPARAMETER", STG_E_INVALIDPARAMETER},
        {"CO_E_NOTINITIALIZED", CO_E_NOTINITIALIZED},
        {"REGDB_E_CLASSNOTREG", REGDB_E_CLASSNOTREG},
        {"CLASS_E_NOAGGREGATION", CLASS_E_NOAGGREGATION},
        {"RPC_E_CHANGED_MODE", RPC_E_CHANGED_MODE},
        {"RPC_E_WRONG_THREAD", RPC_E_WRONG_THREAD},
        {"AUDCLNT_E_NOT_INITIALIZED", static_cast<HRESULT>(0x88890001)},
        {"AUDCLNT_E_ALREADY_INITIALIZED", static_cast<HRESULT>(0x88890002)},
        {"AUDCLNT_E_WRONG_ENDPOINT_TYPE", static_cast<HRESULT>(0x88890003)},
        {"AUDCLNT_E_DEVICE_INVALIDATED", static_cast<HRESULT>(0x88890004)},
        {"AUDCLNT_E_NOT_STOPPED", static_cast<HRESULT>(0x88890005)},
        {"AUDCLNT_E_BUFFER_TOO_LARGE", static_cast<HRESULT>(0x88890006)},
        {"AUDCLNT_E_OUT_OF_ORDER", static_cast<HRESULT>(0x88890007)},
        {"AUDCLNT_E_UNSUPPORTED_FORMAT", static_cast<HRESULT>(0x88890008)},
        {"AUDCLNT_E_INVALID_SIZE", static_cast<HRESULT>(0x88890009)},
        {"AUDCLNT_E_DEVICE_IN_USE", static_cast<HRESULT>(0x8889000A)},
        {"AUDCLNT_E_BUFFER_OPERATION_PENDING", static_cast<HRESULT>(0x8889000B)},
        {"AUDCLNT_E_THREAD_NOT_REGISTERED", static_cast<HRESULT>(0x8889000C)},
        {"AUDCLNT_E_EXCLUSIVE_MODE_NOT_ALLOWED", static_cast<HRESULT>(0x8889000E)},
        {"AUDCLNT_E_ENDPOINT_CREATE_FAILED", static_cast<HRESULT>(0x8889000F)},
        {"AUDCLNT_E_SERVICE_NOT_RUNNING", static_cast<HRESULT>(0x88890010)},
        {"AUDCLNT_E_EVENTHANDLE_NOT_EXPECTED", static_cast<HRESULT>(0x88890011)},
        {"AUDCLNT_E_EXCLUSIVE_MODE_ONLY", static_cast<HRESULT>(0x88890012)},
        {"AUDCLNT_E_BUFDURATION_PERIOD_NOT_EQUAL", static_cast<HRESULT>(0x88890013)},
        {"AUDCLNT_E_EVENTHANDLE_NOT_SET", static_cast<HRESULT>(0x88890014)},
        {"AUDCLNT_E_INCORRECT_BUFFER_SIZE", static_cast<HRESULT>(0x88890015)},
        {"AUDCLNT_E_BUFFER_SIZE_ERROR", static_cast<HRESULT>(0x88890016)},
        {"AUDCLNT_E_CPUUSAGE_EXCEEDED", static_cast<HRESULT>(0x88890017)},
        {"AUDCLNT_E_BUFFER_ERROR", static_cast<HRESULT>(0x88890018)},
        {"AUDCLNT_E_BUFFER_SIZE_NOT_ALIGNED", static_cast<HRESULT>(0x88890019)},
        {"AUDCLNT_E_INVALID_DEVICE_PERIOD", static_cast<HRESULT>(0x88890020)},
        {"AUDCLNT_S_BUFFER_EMPTY", static_cast<HRESULT>(0x08890001)},
    };
    return table;
}

}  // namespace

std::optional<HRESULT> parseHresult(const std::string& text) {
    for (const auto& entry : hresults()) {
        if (text == entry.name)
            return entry.value;
    }
    if (text.empty())
        return std::nullopt;
    char* end = nullptr;
    const bool negative = text[0] == '-';
    const long long value = negative ? std::strtoll(text.c_str(), &end, 0)
                                     : static_cast<long long>(std::strtoull(text.c_str(), &end, 0));
    if (end == text.c_str() || *end != '\0' || value < INT32_MIN || value > static_cast<long long>(UINT32_MAX))
        return std::nullopt;
    return static_cast<HRESULT>(static_cast<unsigned long>(value));
}

const std::vector<NamedValue>& connectorTypeNames() {
    static const std::vector<NamedValue> table = {
        {"Unknown_Connector", Unknown_Connector}, {"Physical_Internal", Physical_Internal},
        {"Physical_External", Physical_External}, {"Software_IO", Software_IO},
        {"Software_Fixed", Software_Fixed},       {"Network", Network},
    };
    return table;
}

const std::vector<NamedValue>& dataFlowNames() {
    static const std::vector<NamedValue> table = {{"In", In}, {"Out", Out}};
    return table;
}

const std::vector<NamedValue>& connectionTypeNames() {
    static const std::vector<NamedValue> table = {
        {"eConnTypeUnknown", 0},        {"eConnType3Point5mm", 1},          {"eConnTypeQuarter", 2},
        {"eConnTypeAtapiInternal", 3},  {"eConnTypeRCA", 4},                {"eConnTypeOptical", 5},
        {"eConnTypeOtherDigital", 6},   {"eConnTypeOtherAnalog", 7},        {"eConnTypeMultichannelAnalogDIN", 8},
        {"eConnTypeXlrProfessional", 9}, {"eConnTypeRJ11Modem", 10},        {"eConnTypeCombination", 11},
    };
    return table;
}

const std::vector<NamedValue>& geoLocationNames() {
    static const std::vector<NamedValue> table = {
        {"eGeoLocRear", 1},           {"eGeoLocFront", 2},         {"eGeoLocLeft", 3},
        {"eGeoLocRight", 4},          {"eGeoLocTop", 5},           {"eGeoLocBottom", 6},
        {"eGeoLocRearPanel", 7},      {"eGeoLocRiser", 8},         {"eGeoLocInsideMobileLid", 9},
        {"eGeoLocDrivebay", 10},      {"eGeoLocHDMI", 11},         {"eGeoLocOutsideMobileLid", 12},
        {"eGeoLocATAPI", 13},         {"eGeoLocNotApplicable", 14}, {"eGeoLocReserved6", 15},
    };
    return table;
}

const std::vector<NamedValue>& genLocationNames() {
    static const std::vector<NamedValue> table = {
        {"eGenLocPrimaryBox", 0}, {"eGenLocInternal", 1}, {"eGenLocSeparate", 2}, {"eGenLocOther", 3},
    };
    return table;
}

const std::vector<NamedValue>& portConnectionNames() {
    static const std::vector<NamedValue> table = {
        {"ePortConnJack", 0}, {"ePortConnIntegratedDevice", 1}, {"ePortConnBothIntegratedAndJack", 2},
        {"ePortConnUnknown", 3},
    };
    return table;
}

const std::vector<NamedValue>& deviceStateNames() {
    static const std::vector<NamedValue> table = {
        {"active", DEVICE_STATE_ACTIVE},
        {"disabled", DEVICE_STATE_DISABLED},
        {"notPresent", DEVICE_STATE_NOTPRESENT},
        {"unplugged", DEVICE_STATE_UNPLUGGED},
    };
    return table;
}

const std::vector<NamedValue>& variantTypeNames() {
    static const std::vector<NamedValue> table = {
        {"VT_EMPTY", VT_EMPTY}, {"VT_I1", VT_I1},   {"VT_I2", VT_I2},       {"VT_I4", VT_I4},
        {"VT_I8", VT_I8},       {"VT_UI1", VT_UI1}, {"VT_UI2", VT_UI2},     {"VT_UI4", VT_UI4},
        {"VT_UI8", VT_UI8},     {"VT_INT", VT_INT}, {"VT_UINT", VT_UINT},   {"VT_BOOL", VT_BOOL},
        {"VT_R4", VT_R4},       {"VT_R8", VT_R8},   {"VT_LPWSTR", VT_LPWSTR}, {"VT_CLSID", VT_CLSID},
        {"VT_BLOB", VT_BLOB},
    };
    return table;
}

std::optional<long> lookUp(const std::vector<NamedValue>& table, const std::string& name) {
    for (const auto& entry : table) {
        if (name == entry.name)
            return entry.value;
    }
    return std::nullopt;
}

std::string nameOf(const std::vector<NamedValue>& table, long value) {
    for (const auto& entry : table) {
        if (entry.value == value)
            return entry.name;
    }
    return std::to_string(value);
}

}  // namespace audiosim::detail
