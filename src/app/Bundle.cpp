#include "app/Bundle.h"

#ifndef TAVRIN_VERSION
#define TAVRIN_VERSION "0.0.0"
#endif
#ifndef TAVRIN_BUILD_NUMBER
#define TAVRIN_BUILD_NUMBER "0"
#endif
#ifndef TAVRIN_ERROR_REPORTING_DSN
#define TAVRIN_ERROR_REPORTING_DSN ""
#endif
#ifndef TAVRIN_FEEDBACK_ADDRESS
#define TAVRIN_FEEDBACK_ADDRESS ""
#endif
#ifndef TAVRIN_COMMUNITY_URL
#define TAVRIN_COMMUNITY_URL ""
#endif
#ifndef TAVRIN_UPDATE_FEED
#define TAVRIN_UPDATE_FEED ""
#endif

namespace tavrin {

BundleInfo BundleInfo::current() {
    return {"tavrin.tavrin.app", TAVRIN_VERSION, TAVRIN_BUILD_NUMBER};
}

DeploymentSettings DeploymentSettings::current() {
    return {TAVRIN_ERROR_REPORTING_DSN, TAVRIN_FEEDBACK_ADDRESS, TAVRIN_COMMUNITY_URL, TAVRIN_UPDATE_FEED};
}

} // namespace tavrin
