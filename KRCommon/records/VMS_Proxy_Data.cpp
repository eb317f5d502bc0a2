#include <KRCommon/records/VMS_Proxy_Data.h>

KR_VMS_Proxy_Data::KR_VMS_Proxy_Data() = default;
KR_VMS_Proxy_Data::KR_VMS_Proxy_Data(const KR_VMS_Proxy_Data& other) = default;
KR_VMS_Proxy_Data& KR_VMS_Proxy_Data::operator=(const KR_VMS_Proxy_Data& other) = default;
KR_VMS_Proxy_Data::~KR_VMS_Proxy_Data() = default;
