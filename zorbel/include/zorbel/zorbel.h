#pragma once
// Everything a client of the metamodel may use: the kernel's model, handles and
// reflection, the value types, the enumerations, the element handles with their
// interfaces, and the meta package.
#include <Kelpa/Meta.h>
#include <Kelpa/Model.h>

#include <Kelpa/Dispatch.h>
#include <zorbel/Initialize.h>
#include <zorbel/MetaPackage.h>

#include <zorbel/Boolean.h>
#include <zorbel/Integer.h>
#include <zorbel/String.h>
#include <zorbel/UnlimitedNatural.h>

#include <zorbel/AggregationKind.h>
#include <zorbel/CallConcurrencyKind.h>
#include <zorbel/ConnectorKind.h>
#include <zorbel/InteractionOperatorKind.h>
#include <zorbel/MessageKind.h>
#include <zorbel/MessageSort.h>
#include <zorbel/ParameterDirectionKind.h>
#include <zorbel/VisibilityKind.h>

#include <zorbel/AllClasses.h>
