// System events, search, recommendations and the social services.
// Component core.
#pragma once

#include "events/event_subscription.h"
#include "events/event_wrapper_service.h"
#include "events/view_controller.h"
#include "quillfold/social_records.h"
#include "recommendations/recommendation_service.h"
#include "search/contact_search_service.h"
#include "social/social_service.h"
