// The JSON documents of the helper, beyond the records that lie on disk.
#pragma once

#include "Integration/Capacity.h"
#include "helper/PlanCheck.h"

#include "Engine/Preflight.h"
#include "Engine/Status.h"
#include "Foundation/Json.h"
#include "Records/Journal.h"

namespace fernwahrung::JsonForms {

/// The plan, what stands in its way, and the sizes. A size that was not measured is null.
Json::Value check(const PlanCheck& check);
/// The relocation's record with its "status".
Json::Value relocation(const Relocation& relocation, const RelocationStatus& status);
/// The journal's record with its "result", null while it is open.
Json::Value journal(const Journal& journal);
/// What is unknown is null.
Json::Value volume(const VolumeCapacity& volume);
/// With the relocation's "id" and "name".
Json::Value image(const Relocation& relocation, const ImageCapacity& capacity);

}  // namespace fernwahrung::JsonForms
