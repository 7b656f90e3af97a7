// The module `ceres`.
#include "modules/least_squares.hpp"

#include "modules/module_entry.hpp"

#include <ceres/ceres.h>

namespace {

class Residuals final : public ceres::CostFunction {
public:
    explicit Residuals(const likeness::LeastSquaresProblem& problem) : problem_(problem) {
        set_num_residuals(problem.residuals);
        mutable_parameter_block_sizes()->push_back(problem.parameters);
    }

    bool Evaluate(const double* const* parameters, double* residuals, double** jacobians) const override {
        return problem_.evaluate(problem_.context, parameters[0], residuals,
                                 jacobians == nullptr ? nullptr : jacobians[0]);
    }

private:
    likeness::LeastSquaresProblem problem_;
};

}  // namespace

LIKENESS_MODULE_ENTRY bool likeness_least_squares(const likeness::LeastSquaresProblem& problem, double* parameters) {
    ceres::Problem descent;
    descent.AddResidualBlock(new Residuals(problem), nullptr, parameters);
    ceres::Solver::Options options;
    options.linear_solver_type = ceres::DENSE_QR;
    options.logging_type = ceres::SILENT;
    options.num_threads = 1;
    options.max_num_iterations = 1000;
    // As far as doubles allow: what is compared with other solvers is the least itself.
    options.function_tolerance = 1e-17;
    options.gradient_tolerance = 1e-17;
    options.parameter_tolerance = 1e-14;
    ceres::Solver::Summary summary;
    ceres::Solve(options, &descent, &summary);
    return summary.termination_type == ceres::CONVERGENCE;
}
