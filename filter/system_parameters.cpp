// Every parameter of the system. The rooms define their own, each in its own
// library; naming them all here makes the linker keep every one wherever this
// object is linked (the module, and whatever reads the whole parameter file),
// even one that nothing linked there reads.
#include "config/util.h"
#include "conversion/output_parameters.h"
#include "conversion/remix_parameters.h"
#include "core/receive_parameters.h"
#include "filter/filter_parameters.h"

extern BaseParameter* const systemParameters[] = {
    &PsingleChannel,    &PremixMask,         &PupmixType,     &PdownmixType, &Px16,
    &PlogFile,          &PenableTimeStamps,  &PallTimeStamps, &Pspdif,       &PinputLog,
    &PoutputBufferSize, &PoutputBufferCount, &PoutputLog,     &PwaveHeader,  &PshowStat,
    &Pprofile,          &PverboseAssert,
};
extern const size_t systemParameterCount = sizeof systemParameters / sizeof systemParameters[0];
