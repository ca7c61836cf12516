foreach(unit
    # listio
    console edit_format file_name free_format_reader free_format_writer io_error number_text output_file system_memory
    whole_file
    # dmatrix
    blas_memory block_products deig dinvert_gauss_jordan memory_error morse_penrose_solve products svd_solve working_array
    # output
    write_coefficients write_data_to_plot
    # fit
    calculate_residues complex_division fit_evaluation fit_properties fitting_iteration least_squares_system
    partial_fractions pole_types
    update_poles
    # driver
    command_line sample_file settings_file starting_poles test_sets)
  add_unit_test(${unit})
endforeach()
