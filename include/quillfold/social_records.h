// The records that the social services and the recommendations deliver.
// Component core.
#pragma once

#include "recommendations/contact_recommendation.h"
#include "social/social_records.h"
