#pragma once
/// Everything that the library offers. No header needs those of Boost: who calls an operation that
/// takes one of Boost's types includes its header himself.
///
/// What each header tells of threads holds for it; in short: searches, names and the status may be
/// used on any thread, handles may be copied and dropped on any thread, and one node, iterator or
/// bag is for one thread at a time.
///
/// To begin with: result_directory_manager.h makes, opens and finds results; i_result_directory.h,
/// i_experiment.h and i_project.h are what is found, i_node.h what they have in common;
/// i_node_group.h lists and groups them; flag_look.h looks at the claims of others.

#include "vesta2/discovery.h"
#include "vesta2/error.h"
#include "vesta2/experiment.h"
#include "vesta2/file_locker.h"
#include "vesta2/file_set.h"
#include "vesta2/flag_look.h"
#include "vesta2/flag_manager.h"
#include "vesta2/i_experiment.h"
#include "vesta2/i_flag_data.h"
#include "vesta2/i_node.h"
#include "vesta2/i_node_group.h"
#include "vesta2/i_path_iterator.h"
#include "vesta2/i_project.h"
#include "vesta2/i_result_directory.h"
#include "vesta2/marker_file.h"
#include "vesta2/names.h"
#include "vesta2/node.h"
#include "vesta2/node_group.h"
#include "vesta2/node_iterator.h"
#include "vesta2/path_completion.h"
#include "vesta2/path_iterators.h"
#include "vesta2/pattern.h"
#include "vesta2/process_ids.h"
#include "vesta2/project.h"
#include "vesta2/property_names.h"
#include "vesta2/result_directory.h"
#include "vesta2/result_directory_manager.h"
#include "vesta2/result_files.h"
#include "vesta2/result_variable_bag.h"
#include "vesta2/system_info.h"
#include "vesta2/tree_copy.h"
#include "vesta2/tree_size.h"
