#pragma once

#include "tools/vorip/cli/commandline.h"

namespace vorip {

// Each command adds its name, options, help and what it runs to the program. A new command is one source file with such
// a function, and one line in the table in main.cpp.
void AddMeasureCommand(CommandLine& program);
void AddPhaseCommand(CommandLine& program);
void AddUnwrapCommand(CommandLine& program);
void AddAverageCommand(CommandLine& program);
void AddGradientCommand(CommandLine& program);
void AddFlattenCommand(CommandLine& program);
void AddPictureCommand(CommandLine& program);
void AddQualityCommand(CommandLine& program);
void AddRegionsCommand(CommandLine& program);
void AddShadeCommand(CommandLine& program);
void AddFilterCommand(CommandLine& program);
void AddDecodeCommand(CommandLine& program);
void AddPointsCommand(CommandLine& program);
void AddCalibrateCommand(CommandLine& program);
void AddGeometryCommand(CommandLine& program);
void AddEdgesCommand(CommandLine& program);
void AddColoursCommand(CommandLine& program);
void AddSurfaceCommands(CommandLine& program);
void AddDemoCommand(CommandLine& program);

}  // namespace vorip
